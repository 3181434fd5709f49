// SPDX-License-Identifier: Apache-2.0
#include "event_table.hpp"

#include "../data_files.hpp"
#include "../message_registry/json_lines.hpp"
#include "event_record.hpp"

#include <utility>

namespace healthintf::host
{

namespace fs = std::filesystem;

namespace
{

/** So many errors of a file are named, and further ones are counted. */
constexpr std::size_t mostNamed = 10;

/** Throws an error about a quoted word in a file. Names the last line with the
 *  word, as the earlier ones came first and count. */
[[noreturn]] void refuse(const EventSource& source, const std::string& word,
                         const std::string& cause)
{
    const std::size_t at = source.text.rfind('"' + word + '"');
    throw EventTableError(source.name + ": line " +
                          std::to_string(countLinesUpTo(source.text, at)) +
                          ": " + word + " " + cause);
}

/** The part of an identifier after the category. */
std::string withoutCategory(const std::string& id)
{
    const std::size_t end = id.find('}');
    return id.substr(end == std::string::npos ? categorySize : end + 1);
}

/** Throws when another event has the identifier. */
void ensureFree(const std::map<std::string, std::string>& numbers,
                const std::string& id, const EventSource& source)
{
    const auto taken = numbers.find(withoutCategory(id));
    if (taken != numbers.end())
    {
        refuse(source, id,
               "is the identifier of another event, in " + taken->second);
    }
}

/** Throws when another event has one of a state's identifiers. */
void ensureFree(const std::map<std::string, std::string>& numbers,
                const EventState& state, const EventSource& source)
{
    ensureFree(numbers, state.asserted.id, source);
    ensureFree(numbers, state.deasserted.id, source);
}

/** Throws when both events of a state have the same identifier. */
void ensureDistinct(const EventState& state, const EventSource& source)
{
    if (withoutCategory(state.asserted.id) ==
        withoutCategory(state.deasserted.id))
    {
        refuse(source, state.deasserted.id,
               "is the identifier of another event, in " + source.name);
    }
}

/** The identifiers of a state, removed from a map until they are put back. */
std::map<std::string, std::string>
withdraw(std::map<std::string, std::string>& numbers, const EventState& state)
{
    std::map<std::string, std::string> withdrawn;
    withdrawn.insert(numbers.extract(withoutCategory(state.asserted.id)));
    withdrawn.insert(numbers.extract(withoutCategory(state.deasserted.id)));
    return withdrawn;
}

/** Finds the message of an identifier without its category; the state's offset,
 *  and whether it is asserted. */
std::optional<std::pair<uint8_t, bool>> findNumber(const EventStates& states,
                                                   const std::string& number)
{
    for (const auto& [offset, state] : states)
    {
        for (const bool assertion : {true, false})
        {
            if (withoutCategory(state.message(assertion).id) == number)
            {
                return std::pair{offset, assertion};
            }
        }
    }
    return std::nullopt;
}

std::string joinFolders(const std::vector<fs::path>& folders)
{
    std::string list;
    for (const fs::path& folder : folders)
    {
        list += (list.empty() ? "" : " or ") + folder.string();
    }
    return list;
}

} // namespace

EventTable EventTable::load(const std::vector<fs::path>& folders)
{
    EventTable table;
    bool any = false;
    // A state of an earlier folder replaces that of a later one, but takes no
    // identifier from other states: so the later folders come first.
    const std::vector<fs::path> lastFirst(folders.rbegin(), folders.rend());
    for (const fs::path& folder : lastFirst)
    {
        table.beginFolder();
        std::error_code error;
        for (const fs::path& file : listJsonFiles(folder, error))
        {
            any = table.addFile(file) || any;
        }
        throwIfShort(error, folder);
        if (error)
        {
            table.leftOut.push_back(folder.string() + ": " + error.message());
        }
    }
    if (!any)
    {
        std::string why = "no usable file *.json in " + joinFolders(folders);
        for (const std::string& problem : table.leftOut)
        {
            why += "; " + problem;
        }
        throw NoEventTable(why);
    }
    return table;
}

void EventTable::beginFolder()
{
    namedByFolder.clear();
    statesOfFolder.clear();
}

bool EventTable::addFile(const fs::path& file)
{
    try
    {
        const std::string text = readDataFile(file);
        add(parseEventTable(text), {file.string(), text});
        return true;
    }
    catch (const DataShortage&)
    {
        throw;
    }
    catch (const std::runtime_error& e)
    {
        leftOut.push_back(file.string() + ": " + e.what());
        return false;
    }
}

template <typename Work>
void EventTable::tryOrLeaveOut(Work&& work)
{
    try
    {
        work();
    }
    catch (const EventTableError& e)
    {
        if (++wrongInFile <= mostNamed)
        {
            leftOut.emplace_back(e.what());
        }
    }
}

void EventTable::add(const EventTableFile& file, const EventSource& source)
{
    wrongInFile = 0;
    // Finding the line of an error takes a search through the whole text.
    const EventSource withoutText{source.name, {}};
    const auto choose = [&]() -> const EventSource& {
        return wrongInFile < mostNamed ? source : withoutText;
    };
    for (const auto& [code, type] : file.eventTypes)
    {
        add(type, code, choose());
    }
    for (const auto& each : file.sensorTypes)
    {
        tryOrLeaveOut([&] {
            add(each.second, each.first, choose());
        });
    }
    if (wrongInFile > mostNamed)
    {
        leftOut.push_back(source.name + ": " +
                          std::to_string(wrongInFile - mostNamed) +
                          " more states or sensor types");
    }
}

void EventTable::add(const EventType& type, uint8_t code,
                     const EventSource& source)
{
    std::unique_ptr<EventType>& known = eventTypes.at(code);
    if (known == nullptr)
    {
        known = std::make_unique<EventType>(EventType{type.name, {}});
    }
    addStates(type.states, known->states, commonNumbers, source,
              [&](const EventState& state) {
                  for (const auto& each : sensorTypeNumbers)
                  {
                      ensureFree(each.second, state, source);
                  }
              });
}

void EventTable::add(const SensorType& type, uint8_t code,
                     const EventSource& source)
{
    checkCategory(type, code, source);
    std::unique_ptr<SensorType>& known = sensorTypes.at(code);
    if (known == nullptr)
    {
        known = std::make_unique<SensorType>(type);
        known->states.clear();
    }
    if (namedByFolder.insert(code).second)
    {
        known->name = type.name;
        known->component = type.component;
    }
    addStates(type.states, known->states, sensorTypeNumbers[code], source,
              [&](const EventState& state) {
                  ensureFree(commonNumbers, state, source);
              });
}

template <typename Check>
void EventTable::addStates(const EventStates& more, EventStates& known,
                           Numbers& numbers, const EventSource& source,
                           Check&& check)
{
    for (const auto& each : more)
    {
        const uint8_t offset = each.first;
        const EventState& state = each.second;
        const std::pair<const EventStates*, uint8_t> place{&known, offset};
        if (statesOfFolder.contains(place))
        {
            continue;
        }
        const auto replaced = known.find(offset);
        Numbers own = replaced != known.end()
                          ? withdraw(numbers, replaced->second)
                          : Numbers{};
        tryOrLeaveOut([&] {
            check(state);
            ensureDistinct(state, source);
            ensureFree(numbers, state, source);
            own = {{withoutCategory(state.asserted.id), source.name},
                   {withoutCategory(state.deasserted.id), source.name}};
            known.insert_or_assign(offset, state);
            statesOfFolder.insert(place);
        });
        // Those of the new state, or again those of the one that stays.
        numbers.merge(own);
    }
}

// Each category belongs to one sensor type, so that the identifiers of
// different sensor types differ.
void EventTable::checkCategory(const SensorType& type, uint8_t code,
                               const EventSource& source)
{
    const SensorType* known = sensorType(code);
    if (known != nullptr && known->category != type.category)
    {
        refuse(source, type.category,
               "is not " + known->category + ", the category of " +
                   hexByte(code) + " in another file");
    }
    const auto [taken, added] = categories.try_emplace(type.category, code);
    if (taken->second != code)
    {
        refuse(source, type.category,
               "is the category of " + hexByte(taken->second));
    }
}

const EventState* EventTable::find(uint8_t sensor, uint8_t event,
                                   uint8_t offset) const
{
    const EventStates* states = nullptr;
    if (event == sensorSpecificEvent)
    {
        states = sensorTypes[sensor] ? &sensorTypes[sensor]->states : nullptr;
    }
    else if (event < eventTypes.size() && eventTypes[event])
    {
        states = &eventTypes[event]->states;
    }
    if (states == nullptr)
    {
        return nullptr;
    }
    const auto found = states->find(offset);
    return found == states->end() ? nullptr : &found->second;
}

std::optional<TableMessage> EventTable::findMessage(const std::string& id) const
{
    const auto category = categories.find(id.substr(0, categorySize));
    if (category == categories.end())
    {
        return std::nullopt;
    }
    const uint8_t code = category->second;
    const std::string number = id.substr(categorySize);
    const SensorType& sensor = *sensorTypes.at(code);
    const auto make = [&](const EventType* type, const EventStates& states,
                          const Numbers& numbers) {
        const auto found = findNumber(states, number);
        return found ? std::optional(TableMessage{
                           .message =
                               states.at(found->first).message(found->second),
                           .sensorType = sensor,
                           .eventType = type,
                           .offset = found->first,
                           .assertion = found->second,
                           .file = numbers.at(number)})
                     : std::nullopt;
    };
    if (auto own = make(nullptr, sensor.states, sensorTypeNumbers.at(code)))
    {
        return own;
    }
    for (const std::unique_ptr<EventType>& type : eventTypes)
    {
        if (type != nullptr)
        {
            if (auto common = make(type.get(), type->states, commonNumbers))
            {
                return common;
            }
        }
    }
    return std::nullopt;
}

} // namespace healthintf::host
