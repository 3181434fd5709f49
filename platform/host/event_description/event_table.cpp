// SPDX-License-Identifier: Apache-2.0
#include "event_table.hpp"

#include "../data_files.hpp"
#include "../message_registry/json_lines.hpp"
#include "event_record.hpp"

namespace healthintf::host
{

namespace fs = std::filesystem;

namespace
{

/** Throws an error about a quoted word in a file. Names the last line with the
 *  word, as the earlier ones came first and count. */
[[noreturn]] void refuse(const EventSource& source, const std::string& word,
                         const std::string& cause)
{
    const std::size_t at = source.text.rfind('"' + word + '"');
    throw EventTableError(source.name + ": line " +
                          std::to_string(lineOfByte(source.text, at)) + ": " +
                          word + " " + cause);
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

/** Adds both identifiers of a state, which no other event has. Throws when they
 *  are equal. */
void claim(std::map<std::string, std::string>& numbers, const EventState& state,
           const EventSource& source)
{
    const std::string asserted = withoutCategory(state.asserted.id);
    const std::string deasserted = withoutCategory(state.deasserted.id);
    if (asserted == deasserted)
    {
        refuse(source, state.deasserted.id,
               "is the identifier of another event, in " + source.name);
    }
    numbers.emplace(asserted, source.name);
    numbers.emplace(deasserted, source.name);
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
    for (const fs::path& folder : folders)
    {
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
        leftOut.emplace_back(e.what());
    }
}

void EventTable::add(const EventTableFile& file, const EventSource& source)
{
    for (const auto& [code, type] : file.eventTypes)
    {
        add(type, code, source);
    }
    for (const auto& each : file.sensorTypes)
    {
        tryOrLeaveOut([&] {
            add(each.second, each.first, source);
        });
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
    addStates(type.states, known->states, [&](const EventState& state) {
        claimForAll(state, source);
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
    addStates(type.states, known->states, [&](const EventState& state) {
        claimFor(code, state, source);
    });
}

template <typename Claim>
void EventTable::addStates(const EventStates& more, EventStates& known,
                           Claim&& claim)
{
    for (const auto& each : more)
    {
        if (!known.contains(each.first))
        {
            tryOrLeaveOut([&] {
                claim(each.second);
                known.insert(each);
            });
        }
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
                   hexByte(code) + " in a file before");
    }
    const auto [taken, added] = categories.try_emplace(type.category, code);
    if (taken->second != code)
    {
        refuse(source, type.category,
               "is the category of " + hexByte(taken->second));
    }
}

void EventTable::claimForAll(const EventState& state, const EventSource& source)
{
    for (const auto& [code, numbers] : sensorTypeNumbers)
    {
        ensureFree(numbers, state, source);
    }
    ensureFree(commonNumbers, state, source);
    claim(commonNumbers, state, source);
}

void EventTable::claimFor(uint8_t code, const EventState& state,
                          const EventSource& source)
{
    ensureFree(commonNumbers, state, source);
    ensureFree(sensorTypeNumbers[code], state, source);
    claim(sensorTypeNumbers[code], state, source);
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

} // namespace healthintf::host
