#include "event_table.hpp"

#include "../data_files.hpp"
#include "../message_registry/json_lines.hpp"
#include "event_record.hpp"

namespace healthintf::host
{

namespace fs = std::filesystem;

namespace
{

/** Throws the problem with a word, which stands in quotes in its file. Of
 *  several places the last is the one that came too late. */
[[noreturn]] void refuse(const EventSource& source, const std::string& word,
                         const std::string& cause)
{
    const std::size_t at = source.text.rfind('"' + word + '"');
    throw EventTableError(source.name + ": line " +
                          std::to_string(lineOfByte(source.text, at)) + ": " +
                          word + " " + cause);
}

/** What follows the category in an identifier. */
std::string numberOf(const std::string& id)
{
    const std::size_t end = id.find('}');
    return id.substr(end == std::string::npos ? categorySize : end + 1);
}

/** Throws when an identifier is another event's. */
void ensureFree(const std::map<std::string, std::string>& numbers,
                const std::string& id, const EventSource& source)
{
    const auto taken = numbers.find(numberOf(id));
    if (taken != numbers.end())
    {
        refuse(source, id,
               "is the identifier of another event, in " + taken->second);
    }
}

/** All table files of the folders.
 *
 *  @throws EventTableError when a folder cannot be read */
std::vector<fs::path> tableFiles(const std::vector<fs::path>& folders)
{
    std::vector<fs::path> files;
    for (const fs::path& folder : folders)
    {
        std::error_code error;
        const std::vector<fs::path> found = jsonFilesOf(folder, error);
        if (error)
        {
            throw EventTableError(folder.string() + ": " + error.message());
        }
        files.insert(files.end(), found.begin(), found.end());
    }
    return files;
}

/** Adds one file, naming it when that fails. */
void addFile(EventTable& table, const fs::path& file)
{
    std::string text;
    EventTableFile parsed;
    try
    {
        text = contentOf(file);
        parsed = parseEventTable(text);
    }
    catch (const std::runtime_error& e)
    {
        throw EventTableError(file.string() + ": " + e.what());
    }
    table.add(parsed, {file.string(), text});
}

} // namespace

EventTable EventTable::load(const std::vector<fs::path>& folders)
{
    EventTable table;
    const std::vector<fs::path> files = tableFiles(folders);
    if (files.empty())
    {
        std::string looked;
        for (const fs::path& folder : folders)
        {
            looked += (looked.empty() ? "" : " or ") + folder.string();
        }
        throw NoEventTable("there is no file *.json in " + looked);
    }
    for (const fs::path& file : files)
    {
        addFile(table, file);
    }
    return table;
}

void EventTable::add(const EventTableFile& file, const EventSource& source)
{
    for (const auto& [code, type] : file.eventTypes)
    {
        add(type, code, source);
    }
    for (const auto& [code, type] : file.sensorTypes)
    {
        add(type, code, source);
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
    for (const auto& [offset, state] : type.states)
    {
        if (known->states.try_emplace(offset, state).second)
        {
            claimForAll(state.asserted.id, source);
            claimForAll(state.deasserted.id, source);
        }
    }
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
    for (const auto& [offset, state] : type.states)
    {
        if (known->states.try_emplace(offset, state).second)
        {
            claimFor(code, state.asserted.id, source);
            claimFor(code, state.deasserted.id, source);
        }
    }
}

// A category stands for one sensor type, so that identifiers of different
// sensor types always differ.
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

void EventTable::claimForAll(const std::string& id, const EventSource& source)
{
    for (const auto& [code, numbers] : own)
    {
        ensureFree(numbers, id, source);
    }
    ensureFree(common, id, source);
    common.emplace(numberOf(id), source.name);
}

void EventTable::claimFor(uint8_t code, const std::string& id,
                          const EventSource& source)
{
    ensureFree(common, id, source);
    ensureFree(own[code], id, source);
    own[code].emplace(numberOf(id), source.name);
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
