// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file The event table: texts and severities of all known events. */

#include "event_table_file.hpp"

#include <array>
#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace healthintf::host
{

/** There is no file of the table, or none can be used. */
class NoEventTable : public EventTableError
{
    using EventTableError::EventTableError;
};

/** A file that is added to the table; its name and text are for error
 *  messages. */
struct EventSource
{
    std::string name;
    std::string_view text;
};

/** The events of all files. When several files describe a state, the first one
 *  counts. */
class EventTable
{
  public:
    /** Reads every *.json file of the folders, in the order of the folders and
     *  of the files' names. Missing folders are ignored. Left out are a state
     *  with the identifier of another event, a sensor type with the category of
     *  another, and a file with any other error.
     *
     *  @throws NoEventTable when there is no file that can be used */
    static EventTable load(const std::vector<std::filesystem::path>& folders);

    /** Adds the content of a file, as load() does. */
    void add(const EventTableFile& file, const EventSource& source);

    /** What was left out, each with file, line and cause. */
    const std::vector<std::string>& problems() const
    {
        return leftOut;
    }

    /** A sensor type or an event type; null when the table has none. */
    const SensorType* sensorType(uint8_t code) const
    {
        return sensorTypes[code].get();
    }
    const EventType* eventType(uint8_t code) const
    {
        return eventTypes[code].get();
    }

    /** Finds a state of a sensor; null when the table has none. */
    const EventState* find(uint8_t sensorType, uint8_t eventType,
                           uint8_t offset) const;

  private:
    /** Identifiers without their categories, with the files that use them. */
    using Numbers = std::map<std::string, std::string>;

    bool addFile(const std::filesystem::path& file);
    template <typename Work>
    void tryOrLeaveOut(Work&& work);
    void add(const EventType& type, uint8_t code, const EventSource& source);
    void add(const SensorType& type, uint8_t code, const EventSource& source);
    template <typename Claim>
    void addStates(const EventStates& more, EventStates& known, Claim&& claim);
    void checkCategory(const SensorType& type, uint8_t code,
                       const EventSource& source);
    void claimForAll(const EventState& state, const EventSource& source);
    void claimFor(uint8_t code, const EventState& state,
                  const EventSource& source);

    std::array<std::unique_ptr<SensorType>, 256> sensorTypes;
    std::array<std::unique_ptr<EventType>, 128> eventTypes;
    std::map<std::string, uint8_t> categories;
    /** The identifiers of event types, and those of each sensor type. */
    Numbers commonNumbers;
    std::map<uint8_t, Numbers> sensorTypeNumbers;
    std::vector<std::string> leftOut;
};

} // namespace healthintf::host
