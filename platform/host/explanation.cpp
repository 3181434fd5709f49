// SPDX-License-Identifier: Apache-2.0
#include "explanation.hpp"

#include "data_files.hpp"
#include "event_description/event_table.hpp"
#include "event_description/event_text.hpp"
#include "message_registry/message_catalog.hpp"

#include <platform/utf8.hpp>

#include <exception>
#include <string_view>

namespace healthintf::host
{

namespace fs = std::filesystem;

namespace
{

/** The language that the library asks for. */
constexpr const char* language = "en";

using Ids = std::set<std::string>;

/** The beginning of a text that is longer than explanations may be. */
std::string bounded(const std::string& text)
{
    constexpr std::string_view ellipsis = "...";
    if (text.size() <= maxExplainedText)
    {
        return text;
    }
    return std::string(truncateUtf8(text, maxExplainedText - ellipsis.size())) +
           std::string(ellipsis);
}

std::string describeSeverity(MessageSeverity severity)
{
    switch (severity)
    {
        case MessageSeverity::critical:
            return "critical";
        case MessageSeverity::warning:
            return "warning";
        case MessageSeverity::ok:
            break;
    }
    return "OK";
}

std::string describeSeverity(EventSeverity severity)
{
    switch (severity)
    {
        case EventSeverity::critical:
            return "critical";
        case EventSeverity::warning:
            return "warning";
        case EventSeverity::informational:
            break;
    }
    return "informational";
}

std::vector<ExplainedArgument> explain(const std::vector<ArgumentNotes>& notes)
{
    std::vector<ExplainedArgument> arguments;
    arguments.reserve(notes.size());
    for (const ArgumentNotes& argument : notes)
    {
        arguments.push_back(
            {.place = "%" + std::to_string(arguments.size() + 1),
             .type = bounded(argument.type),
             .description = bounded(argument.description),
             .optional = false});
    }
    return arguments;
}

Explanation explain(const RegistryFile& file, const std::string& key,
                    const MessageNotes& notes)
{
    const Message& message = file.messages.at(key);
    return {.id = bounded(file.prefix + "." + file.version + "." + key),
            .severity = describeSeverity(message.severity),
            .text = bounded(message.text),
            .description = bounded(notes.description),
            .resolution = bounded(notes.resolution),
            .arguments = explain(notes.arguments),
            .file = file.name,
            .event = std::nullopt};
}

/** Explains the messages of a registry file that were asked for. */
void explainRegistry(const fs::path& path, const Ids& ids, Explanations& found)
{
    RegistryNotes notes;
    RegistryFile file = parseRegistry(readDataFile(path), &notes);
    file.name = path.string();
    for (const auto& each : notes)
    {
        forEachIdentifier(file, each.first, [&](const std::string& id) {
            if (ids.contains(id))
            {
                found.insert_or_assign(id,
                                       explain(file, each.first, each.second));
            }
        });
    }
}

/** The files that have the messages, with the identifiers asked of each. */
std::map<fs::path, Ids> findFiles(const Ids& ids)
{
    const MessageCatalog catalog = MessageCatalog::load(registryFolders());
    std::map<fs::path, Ids> files;
    for (const std::string& id : ids)
    {
        if (const std::string file = catalog.findFile(id, language);
            !file.empty())
        {
            files[file].insert(id);
        }
    }
    return files;
}

Explanations explainRegistries(const Ids& ids)
{
    Explanations found;
    for (const auto& [file, asked] : findFiles(ids))
    {
        try
        {
            explainRegistry(file, asked, found);
        }
        catch (const DataShortage&)
        {
            throw;
        }
        catch (const std::exception&)
        {
            // The file was read a moment ago, and is being replaced.
        }
    }
    return found;
}

/** What the value in a place of an event's text is. */
std::string describePlace(std::string_view name)
{
    static const std::map<std::string_view, const char*> descriptions{
        {"sensor", "The name of the sensor."},
        {"number", "The number of the sensor."},
        {"reading", "The raw reading that caused the event."},
        {"threshold", "The raw threshold that was crossed."},
        {"detail", "The meaning of event data 2."},
        {"extension2", "Event data 2."},
        {"extension3", "Event data 3."}};
    const auto found = descriptions.find(name);
    return found == descriptions.end() ? "" : found->second;
}

Explanation explain(const std::string& id, const TableMessage& found)
{
    Explanation explanation{
        .id = id,
        .severity = describeSeverity(found.message.severity),
        .text = found.message.text,
        .description = {},
        .resolution = {},
        .arguments = {},
        .file = found.file,
        .event = ExplainedEvent{.sensorType = found.sensorType.name,
                                .eventType = found.eventType != nullptr
                                                 ? found.eventType->name
                                                 : std::string(),
                                .offset = found.offset,
                                .asserted = found.assertion}};
    for (const Placeholder& place : findPlaceholders(found.message.text))
    {
        explanation.arguments.push_back(
            {.place = "{" + std::string(place.name) + "}",
             .type = "string",
             .description = describePlace(place.name),
             .optional = place.optional});
    }
    return explanation;
}

/** Explains, of the messages that were asked for and not found, those of the
 *  event table. */
void explainEvents(const Ids& ids, Explanations& found)
{
    try
    {
        const EventTable table = EventTable::load(eventFolders());
        for (const std::string& id : ids)
        {
            const auto message = table.findMessage(id);
            if (message && !found.contains(id))
            {
                found.emplace(id, explain(id, *message));
            }
        }
    }
    catch (const NoEventTable&)
    {
        // Then no event has a message.
    }
}

} // namespace

Explanations explainMessages(const Ids& ids)
{
    Explanations found = explainRegistries(ids);
    if (found.size() < ids.size())
    {
        explainEvents(ids, found);
    }
    return found;
}

} // namespace healthintf::host
