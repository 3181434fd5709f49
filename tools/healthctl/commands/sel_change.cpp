// SPDX-License-Identifier: Apache-2.0
#include "../error.hpp"
#include "../numbers.hpp"
#include "../output/line_output.hpp"
#include "../sel/logmgr_client.hpp"
#include "arguments.hpp"
#include "confirmation.hpp"
#include "sel.hpp"

#include <nlohmann/json.hpp>

#include <cstdint>
#include <limits>
#include <memory>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

namespace healthintf::healthctl
{
namespace
{

/** The highest identifier that an entry can have. */
constexpr int lastIdentifier = 65534;

/** The options of "sel add". */
struct Addition
{
    std::vector<std::string> bytes;
    SELInterface::SensorInfo sensor;
    std::string time;
};

/** A time that a record can have. */
std::optional<uint32_t> givenTime(const std::string& text)
{
    const std::optional<int64_t> moment = givenMoment(text);
    if (moment &&
        (*moment < 0 || *moment > std::numeric_limits<uint32_t>::max()))
    {
        throw Error(ExitCode::usage, "a record has no room for the time \"" +
                                         text +
                                         "\"; give one between 1970 and 2106");
    }
    return moment;
}

ExitCode add(const Context& context, const Addition& addition)
{
    const RawRecord record = argument(
        [&] {
            return parseRecord(addition.bytes);
        },
        "write its 16 bytes in hexadecimal digits");
    const uint32_t id =
        LogmgrClient().add(addition.sensor, record, givenTime(addition.time));
    if (context.json)
    {
        writeJson(context, "healthctl.sel-add/1", {{"id", id}});
    }
    else
    {
        context.out << id << '\n';
    }
    return ExitCode::ok;
}

/** The options of "sel clear". */
struct ClearOptions
{
    bool yes = false;
    /** The identifier of the last entry that may go. */
    std::optional<uint16_t> upTo;
};

/** Whether the operator wants the log emptied. */
bool confirmed(const Context& context, const services::LogStatus& log)
{
    return isConfirmed(context, "remove all entries",
                       "Remove all " + std::to_string(log.entries) +
                           " entries of the log" + upTo(log.lastEntry));
}

ExitCode clear(const Context& context, const ClearOptions& options)
{
    LogmgrClient log;
    std::optional<uint16_t> last = options.upTo;
    std::optional<uint64_t> generation;
    if (!options.yes)
    {
        // Entries that come while the operator thinks must not go.
        const services::LogStatus status = log.status();
        last = options.upTo.value_or(status.lastEntry);
        generation = status.generation;
        if (!confirmed(context, status))
        {
            writeLine(context, "Nothing was removed.");
            return ExitCode::nothingFound;
        }
    }
    const auto [erased, end] = log.clear(last, generation);
    if (context.json)
    {
        writeJson(context, "healthctl.sel-clear/1",
                  {{"erased", erased}, {"upTo", end}});
    }
    else
    {
        writeLine(context, std::to_string(erased) +
                               (erased == 1 ? " entry" : " entries") +
                               " removed" + upTo(end));
    }
    return ExitCode::ok;
}

void addAdd(CommandLine& commands, CLI::App& sel)
{
    const auto options = std::make_shared<Addition>();
    CLI::App& command = commands.add(
        sel,
        {.name = "add",
         .summary = "Stores a record, and says its identifier.",
         .more = "logmgr writes identifier and time into the record.\n"
                 "\n"
                 "Examples:\n"
                 "  healthctl sel add --name 'Fan 7' --path /sensors/fan7 \\\n"
                 "      0000 02 00000000 2000 04 04 07 01 570000\n"
                 "  healthctl sel add 00000200000000200004040701570000"},
        [options](const Context& context) {
            return add(context, *options);
        });
    command
        .add_option("BYTES", options->bytes,
                    "The record's 16 bytes in hexadecimal digits")
        ->required()
        ->type_name("");
    command.add_option("--name", options->sensor.name, "The sensor's name")
        ->type_name("TEXT");
    command
        .add_option("--path", options->sensor.path,
                    "The sensor's path, which tells its faults apart")
        ->type_name("TEXT");
    command
        .add_option("--time", options->time,
                    "When it was, as --since of \"sel list\"")
        ->type_name("TIME");
}

void addClear(CommandLine& commands, CLI::App& sel)
{
    const auto options = std::make_shared<ClearOptions>();
    CLI::App& command = commands.add(
        sel,
        {.name = "clear",
         .summary = "Removes all entries.",
         .more = "Asks before, on a terminal. Faults stay: what they "
                 "tell of is still so.\n"
                 "Nothing is removed when the log has grown past what was "
                 "asked about, or past\n"
                 "entry N of --up-to, which \"sel export\" says.\n"
                 "\n"
                 "Examples:\n"
                 "  healthctl sel clear\n"
                 "  healthctl sel export backup.raw\n"
                 "  healthctl sel clear --yes --up-to 336"},
        [options](const Context& context) {
            return clear(context, *options);
        });
    command.add_flag("--yes", options->yes, "Do not ask");
    addNumber(command, "--up-to", options->upTo, {0, lastIdentifier},
              "Only if this is the last entry; 0 if there is none")
        ->type_name("N");
}

} // namespace

void addSelChanges(CommandLine& commands, CLI::App& sel)
{
    addAdd(commands, sel);
    addClear(commands, sel);
}

} // namespace healthintf::healthctl
