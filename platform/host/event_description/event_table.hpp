#pragma once

/** @file The event table: all that is known of events. */

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

/** No file of the table is there, or none can be used. */
class NoEventTable : public EventTableError
{
    using EventTableError::EventTableError;
};

/** A file that is added to the table, for messages about it. */
struct EventSource
{
    std::string name;
    std::string_view text;
};

/** Events of all files. Of a state that several files describe, the one that
 *  was added first counts. */
class EventTable
{
  public:
    /** Reads every *.json file of the folders, in the order of the folders
     *  and of the files' names. A folder that is not there is empty. What is
     *  wrong is left out: a state that has the identifier of another event, a
     *  sensor type that has the category of another, or else a whole file.
     *
     *  @throws NoEventTable when there is no file that can be used */
    static EventTable load(const std::vector<std::filesystem::path>& folders);

    /** Adds what a file holds, as load() does. */
    void add(const EventTableFile& file, const EventSource& source);

    /** What was left out: for each its file, line and cause. */
    const std::vector<std::string>& problems() const
    {
        return leftOut;
    }

    /** What is known of a sensor type or of an event type, or null. */
    const SensorType* sensorType(uint8_t code) const
    {
        return sensorTypes[code].get();
    }
    const EventType* eventType(uint8_t code) const
    {
        return eventTypes[code].get();
    }

    /** A state of a sensor, or null. */
    const EventState* find(uint8_t sensorType, uint8_t eventType,
                           uint8_t offset) const;

  private:
    /** Identifiers without their categories, and the files they are from. */
    using Numbers = std::map<std::string, std::string>;

    bool addFile(const std::filesystem::path& file);
    template <typename Work>
    void orLeaveOut(Work&& work);
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
    /** Those of event types, and those of each sensor type. */
    Numbers common;
    std::map<uint8_t, Numbers> own;
    std::vector<std::string> leftOut;
};

} // namespace healthintf::host
