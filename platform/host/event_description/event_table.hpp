// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file The event table: texts and severities of all known events. */

#include "event_table_file.hpp"

#include <array>
#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>
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

/** A message of the table, and where it belongs. It refers to the table. */
struct TableMessage
{
    const EventMessage& message;
    const SensorType& sensorType;
    /** Null for a state that only sensors of this type have. */
    const EventType* eventType;
    uint8_t offset;
    bool assertion;
    /** The name of the file that describes the state. */
    const std::string& file;
};

/** The events of all files. When several files describe a state, the first one
 *  counts. Of different states with one identifier, that of the later folder
 *  stays, and within a folder the first one. */
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

    /** What was left out, with file, line and cause; of many errors in one file
     *  the first, and how many more there are. */
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

    /** Finds the message that events have as their identifier, which begins
     *  with the category of a sensor type; nothing when the table has none. */
    std::optional<TableMessage> findMessage(const std::string& id) const;

  private:
    /** Identifiers without their categories, with the files that use them. */
    using Numbers = std::map<std::string, std::string>;

    void beginFolder();
    bool addFile(const std::filesystem::path& file);
    template <typename Work>
    void tryOrLeaveOut(Work&& work);
    void add(const EventType& type, uint8_t code, const EventSource& source);
    void add(const SensorType& type, uint8_t code, const EventSource& source);
    template <typename Check>
    void addStates(const EventStates& more, EventStates& known,
                   Numbers& numbers, const EventSource& source, Check&& check);
    void checkCategory(const SensorType& type, uint8_t code,
                       const EventSource& source);

    std::array<std::unique_ptr<SensorType>, 256> sensorTypes;
    std::array<std::unique_ptr<EventType>, 128> eventTypes;
    std::map<std::string, uint8_t> categories;
    /** The identifiers of event types, and those of each sensor type. */
    Numbers commonNumbers;
    std::map<uint8_t, Numbers> sensorTypeNumbers;
    /** What the files of the present folder have given so far. */
    std::set<uint8_t> namedByFolder;
    std::set<std::pair<const EventStates*, uint8_t>> statesOfFolder;
    std::vector<std::string> leftOut;
    /** How many states and sensor types of the present file were left out. */
    std::size_t wrongInFile = 0;
};

} // namespace healthintf::host
