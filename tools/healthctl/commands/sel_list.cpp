// SPDX-License-Identifier: Apache-2.0
#include "../choices.hpp"
#include "../error.hpp"
#include "../numbers.hpp"
#include "../output/line_output.hpp"
#include "../output/table.hpp"
#include "../output/text.hpp"
#include "../sel/log_reader.hpp"
#include "../sel/sel_entries.hpp"
#include "../time_argument.hpp"
#include "arguments.hpp"
#include "sel.hpp"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <bit>
#include <cstdint>
#include <memory>
#include <optional>
#include <ostream>
#include <set>
#include <string>
#include <vector>

namespace healthintf::healthctl
{
namespace
{

constexpr const char* listHelp =
    "A sensor type is a number, as 4 or 0x04, or a name, as fan.\n"
    "\n"
    "Examples:\n"
    "  healthctl sel list --last 20\n"
    "  healthctl sel list --since 2h --severity critical\n"
    "  healthctl sel list --sensor-type temperature --sensor-type fan\n"
    "  healthctl sel list --since 2026-01-01 --until 2026-02-01 --json";

/** The options as they were given. */
struct ListOptions
{
    PeriodOptions period;
    std::vector<std::string> sensorTypes;
    std::set<EventSeverity> severities;
    std::size_t last = 0;
};

SelFilter makeFilter(const ListOptions& options)
{
    SelFilter filter{.period = readPeriod(options.period),
                     .sensorTypes = argument(
                         [&] {
                             return std::vector<SensorTypeChoice>(
                                 options.sensorTypes.begin(),
                                 options.sensorTypes.end());
                         },
                         "write it as 4, 0x04 or fan"),
                     .severities = options.severities,
                     .last = std::nullopt};
    if (options.last > 0)
    {
        filter.last = options.last;
    }
    return filter;
}

/** An event of each type that sensors can have. */
std::vector<ReadEvent> listEventsByType()
{
    std::vector<SELEntry_gen> entries;
    for (unsigned int type = 0; type <= UINT8_MAX; ++type)
    {
        SELEntryProperties entry;
        SELInterface::SELRecord record{};
        record.recordType = eventRecord;
        record.sensorType = static_cast<uint8_t>(type);
        entry.record = std::bit_cast<RawRecord>(record);
        entries.emplace_back(entry);
    }
    return described(entries);
}

/** @throws Error when a wrong filter, or the lack of descriptions, would show
 *          nothing whatever the log has */
void checkNames(const SelFilter& filter)
{
    if (!needsDescriptions(filter))
    {
        return;
    }
    if (!EventDescriptions().attached())
    {
        throw Error(ExitCode::failed,
                    "there is no event table that can be used, so severities "
                    "and names of sensor types are not known; see \"healthctl "
                    "doctor\"");
    }
    const std::vector<ReadEvent> events = listEventsByType();
    for (const SensorTypeChoice& type : filter.sensorTypes)
    {
        if (std::ranges::none_of(events, [&type](const ReadEvent& event) {
                return type.fits(event);
            }))
        {
            throw Error(ExitCode::usage, "no events are of the sensor type \"" +
                                             type.text() +
                                             "\"; write it as 4, 0x04 or fan");
        }
    }
}

/** A severity is as bad as the health of the fault that it makes. */
Tone eventTone(const ReadEvent& event)
{
    if (!event.words)
    {
        return Tone::unknown;
    }
    switch (event.words->severity)
    {
        case EventSeverity::critical:
            return Tone::critical;
        case EventSeverity::warning:
            return Tone::warning;
        case EventSeverity::informational:
            return Tone::plain;
    }
    return Tone::unknown;
}

/** Writes a row for each event, with its text beside the rest where there is
 *  room for it, else below. */
void writeTable(const Context& context, const std::vector<ReadEvent>& events)
{
    constexpr std::size_t roomy = 120;
    constexpr std::size_t sensor = 2;
    constexpr std::size_t last = 5;
    const bool beside = !context.width || *context.width >= roomy;
    Table table(
        {{.column = last, .least = 40}, {.column = sensor, .least = 8}});
    for (const ReadEvent& event : events)
    {
        const std::string text = describeText(event);
        table.addRow({std::to_string(event.entry.recordId()),
                      describeTime(event),
                      {describeSensor(event), Tone::strong},
                      describeDirection(event),
                      {describeSeverity(event), eventTone(event)},
                      beside ? text : ""});
        if (!beside)
        {
            table.addText("  ", "  ", text, Tone::plain);
        }
    }
    table.print(context.out, context.style, context.width);
}

ExitCode list(const Context& context, const ListOptions& options)
{
    const SelFilter filter = makeFilter(options);
    checkNames(filter);
    const ReadLog log = readLog();
    const std::vector<ReadEvent> events =
        filtered(described(log.entries), filter);
    if (context.json)
    {
        nlohmann::ordered_json entries = nlohmann::ordered_json::array();
        for (const ReadEvent& event : events)
        {
            entries.push_back(toJson(event));
        }
        writeJson(context, "healthctl.sel-entries/1",
                  {{"source", log.source()}, {"entries", entries}});
    }
    else
    {
        if (events.empty())
        {
            writeLine(context, "No such entries.");
        }
        writeTable(context, events);
    }
    return events.empty() ? ExitCode::nothingFound : ExitCode::ok;
}

void addSeverity(CLI::App& command, ListOptions& options)
{
    static const Choices<EventSeverity> words{
        {wordFor(EventSeverity::critical), EventSeverity::critical},
        {wordFor(EventSeverity::warning), EventSeverity::warning},
        {wordFor(EventSeverity::informational), EventSeverity::informational}};
    addChoices(command, "-s,--severity", options.severities, words,
               "critical, warning or informational; repeatable");
}

} // namespace

void addSelList(CommandLine& commands, CLI::App& sel)
{
    const auto options = std::make_shared<ListOptions>();
    CLI::App& command =
        commands.add(sel,
                     {.name = "list",
                      .summary = "Lists the entries, the oldest first.",
                      .more = std::string(timeArgumentHelp) + listHelp,
                      .paged = true},
                     [options](const Context& context) {
                         return list(context, *options);
                     });
    addPeriod(command, options->period);
    command
        .add_option("--sensor-type", options->sensorTypes,
                    "Only of sensors of this type; repeatable")
        ->type_name("TYPE")
        ->expected(1)
        ->take_all();
    addSeverity(command, *options);
    addNumber(command, "-n,--last", options->last, {1},
              "At most so many of those, the newest ones")
        ->type_name("N");
}

} // namespace healthintf::healthctl
