#include "event_table.hpp"

#include "../data_files.hpp"
#include "event_record.hpp"

namespace healthintf::host
{

namespace fs = std::filesystem;

namespace
{

constexpr std::size_t categorySize = 3;
constexpr std::size_t categoryPlaceSize = 10;

std::string placeIn(const std::string& file, std::size_t line)
{
    return file + ": line " + std::to_string(line);
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

/** Reads one file, naming it when that fails. */
EventTableFile readFile(const fs::path& file)
{
    try
    {
        return parseEventTable(contentOf(file));
    }
    catch (const std::runtime_error& e)
    {
        throw EventTableError(file.string() + ": " + e.what());
    }
}

} // namespace

EventTable EventTable::load(const std::vector<fs::path>& folders)
{
    EventTable table;
    const std::vector<fs::path> files = tableFiles(folders);
    if (files.empty())
    {
        throw NoEventTable("there is no file *.json");
    }
    for (const fs::path& file : files)
    {
        table.add(readFile(file), file.string());
    }
    return table;
}

void EventTable::add(const EventTableFile& file, const std::string& name)
{
    for (const auto& [code, type] : file.eventTypes)
    {
        add(type, code, name);
    }
    for (const auto& [code, type] : file.sensorTypes)
    {
        add(type, code, name);
    }
}

void EventTable::add(const EventType& type, uint8_t code,
                     const std::string& name)
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
            claimForAll({state.asserted, name, categoryPlaceSize});
            claimForAll({state.deasserted, name, categoryPlaceSize});
        }
    }
}

void EventTable::add(const SensorType& type, uint8_t code,
                     const std::string& name)
{
    checkCategory(type, code, name);
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
            claimFor(code, {state.asserted, name, categorySize});
            claimFor(code, {state.deasserted, name, categorySize});
        }
    }
}

// A category stands for one sensor type, so that identifiers of different
// sensor types always differ.
void EventTable::checkCategory(const SensorType& type, uint8_t code,
                               const std::string& name)
{
    const std::string place = placeIn(name, type.line) + ": " + hexByte(code);
    const auto [taken, added] = categories.try_emplace(type.category, code);
    if (taken->second != code)
    {
        throw EventTableError(place + ": Category " + type.category +
                              " is that of " + hexByte(taken->second));
    }
    const SensorType* known = sensorType(code);
    if (known != nullptr && known->category != type.category)
    {
        throw EventTableError(place + ": Category " + type.category +
                              " is not " + known->category +
                              " as in a file before");
    }
}

void EventTable::claimForAll(const Claim& claim)
{
    const std::string number = claim.message.id.substr(claim.prefix);
    const std::string place = placeIn(claim.file, claim.message.line);
    for (const auto& [code, numbers] : own)
    {
        if (const auto taken = numbers.find(number); taken != numbers.end())
        {
            throw EventTableError(place + ": Id " + claim.message.id +
                                  " is taken in " + taken->second);
        }
    }
    if (const auto [taken, added] = common.try_emplace(number, place); !added)
    {
        throw EventTableError(place + ": Id " + claim.message.id +
                              " is taken in " + taken->second);
    }
}

void EventTable::claimFor(uint8_t code, const Claim& claim)
{
    const std::string number = claim.message.id.substr(claim.prefix);
    const std::string place = placeIn(claim.file, claim.message.line);
    auto taken = common.find(number);
    bool free = taken == common.end();
    if (free)
    {
        std::tie(taken, free) = own[code].try_emplace(number, place);
    }
    if (!free)
    {
        throw EventTableError(place + ": Id " + claim.message.id +
                              " is taken in " + taken->second);
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

} // namespace healthintf::host
