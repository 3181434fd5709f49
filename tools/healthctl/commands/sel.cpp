#include "sel.hpp"

#include "../error.hpp"
#include "../output/text.hpp"
#include "../output/time_text.hpp"
#include "../sel/log_reader.hpp"
#include "../sel/log_service.hpp"
#include "../sel/moment.hpp"
#include "../sel/sel_entries.hpp"
#include "../sel/sel_transfer.hpp"

#include <nlohmann/json.hpp>

#include <unistd.h>

#include <algorithm>
#include <ctime>
#include <iostream>
#include <memory>
#include <ostream>
#include <stdexcept>
#include <string>
#include <vector>

namespace healthintf::healthctl
{
namespace
{

using Json = nlohmann::ordered_json;

constexpr const char* entriesSchema = "healthctl.sel-entries/1";

/** The options of "sel add". */
struct Addition
{
    std::vector<std::string> bytes;
    SELInterface::SensorInfo sensor;
    std::string time;
};

/** Turns what is wrong with an argument into what the operator is told. */
template <typename Read>
auto argument(Read&& read, const char* remedy)
{
    try
    {
        return read();
    }
    catch (const std::invalid_argument& e)
    {
        throw Error(ExitCode::usage, std::string(e.what()) + "; " + remedy);
    }
}

constexpr const char* momentRemedy =
    "write it as 2026-01-31, 10m or @1700000000";

ReadEvent findEvent(uint16_t id)
{
    std::vector<SELEntry_gen> entries = readLog();
    const auto entry = std::ranges::find(entries, id, &SELEntry_gen::recordId);
    if (entry == entries.end())
    {
        throw Error(ExitCode::nothingFound,
                    "the log has no entry " + std::to_string(id) +
                        "; \"healthctl sel list\" shows those it has");
    }
    return described({*entry}).front();
}

void writeFields(const Context& context,
                 const std::vector<std::pair<std::string, std::string>>& fields)
{
    std::size_t widest = 0;
    for (const auto& [name, value] : fields)
    {
        widest = std::max(widest, name.size());
    }
    for (const auto& [name, value] : fields)
    {
        context.out << context.style.paint(name, Tone::faint)
                    << std::string(widest + 2 - name.size(), ' ')
                    << printable(value) << '\n';
    }
}

ExitCode show(const Context& context, uint16_t id)
{
    const ReadEvent event = findEvent(id);
    if (context.json)
    {
        writeJson(context, entriesSchema,
                  {{"entries", Json::array({jsonOf(event)})}});
    }
    else
    {
        writeFields(context, allFieldsOf(event));
    }
    return ExitCode::ok;
}

ExitCode add(const Context& context, const Addition& addition)
{
    const RawRecord record = argument(
        [&] {
            return recordOf(addition.bytes);
        },
        "write its 16 bytes in hexadecimal digits");
    std::optional<uint32_t> time;
    if (!addition.time.empty())
    {
        time = argument(
            [&] {
                return static_cast<uint32_t>(
                    momentOf(addition.time, std::time(nullptr)));
            },
            momentRemedy);
    }
    const uint32_t id = LogService().add(addition.sensor, record, time);
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

/** Whether the operator wants the log emptied. */
bool confirmed(const Context& context, LogService& log)
{
    if (isatty(STDIN_FILENO) == 0 || isatty(STDOUT_FILENO) == 0)
    {
        throw Error(ExitCode::usage,
                    "nobody can be asked whether to remove all entries; say "
                    "so with --yes");
    }
    context.out << "Remove all " << log.info().entries
                << " entries of the log? [y/N] " << std::flush;
    std::string answer;
    std::getline(std::cin, answer);
    return answer == "y" || answer == "Y" || answer == "yes";
}

ExitCode clear(const Context& context, bool yes)
{
    LogService log;
    if (!yes && !confirmed(context, log))
    {
        context.out << "Nothing was removed.\n";
        return ExitCode::nothingFound;
    }
    const uint32_t erased = log.clear();
    if (context.json)
    {
        writeJson(context, "healthctl.sel-clear/1", {{"erased", erased}});
    }
    else
    {
        context.out << erased << (erased == 1 ? " entry" : " entries")
                    << " removed\n";
    }
    return ExitCode::ok;
}

ExitCode exportTo(const Context& context, const std::string& file)
{
    const bool intoOutput = file == standardStream;
    if (intoOutput && context.json)
    {
        throw Error(ExitCode::usage,
                    "records and JSON cannot both go to standard output; name "
                    "a file");
    }
    std::vector<RawRecord> records;
    for (const SELEntry_gen& entry : readLog())
    {
        records.push_back(entry.record());
    }
    writeRecords(records, file, context.out);
    if (context.json)
    {
        writeJson(context, "healthctl.sel-export/1",
                  {{"file", file}, {"exported", records.size()}});
    }
    else if (!intoOutput)
    {
        context.out << records.size() << " exported\n";
    }
    return ExitCode::ok;
}

ExitCode importFrom(const Context& context, const std::string& file)
{
    const std::vector<RawRecord> records = readRecords(file);
    LogService log;
    const std::vector<uint32_t> ids = importRecords(log, records);
    if (context.json)
    {
        writeJson(context, "healthctl.sel-import/1",
                  {{"imported", ids.size()}, {"ids", ids}});
    }
    else
    {
        context.out << ids.size() << " imported\n";
    }
    return ExitCode::ok;
}

std::string momentOrNever(uint32_t seconds)
{
    return seconds == 0 ? "never" : localTime(seconds);
}

ExitCode info(const Context& context)
{
    const LogInfo log = LogService().info();
    const auto orNull = [](uint32_t seconds) {
        return seconds == 0 ? Json(nullptr) : Json(seconds);
    };
    if (context.json)
    {
        writeJson(context, "healthctl.sel-info/1",
                  {{"entries", log.entries},
                   {"capacity", log.capacity},
                   {"policy", log.policy},
                   {"overflow", log.overflow},
                   {"lastAddition", orNull(log.lastAddition)},
                   {"lastErase", orNull(log.lastErase)}});
        return ExitCode::ok;
    }
    writeFields(
        context,
        {{"Entries",
          std::to_string(log.entries) + " of " + std::to_string(log.capacity)},
         {"When full", log.policy == "wrap"
                           ? "the oldest entry is dropped (wrap)"
                           : "events are refused (refuse)"},
         {"Overflow", log.overflow ? "yes, since the last clear" : "no"},
         {"Last addition", momentOrNever(log.lastAddition)},
         {"Last clear", momentOrNever(log.lastErase)}});
    return ExitCode::ok;
}

void addShow(CommandLine& commands, CLI::App& sel)
{
    const auto id = std::make_shared<uint16_t>(0);
    commands
        .add(sel,
             {.name = "show",
              .summary = "Shows every field of one entry.",
              .more = "Examples:\n"
                      "  healthctl sel show 17\n"
                      "  healthctl sel show 17 --json"},
             [id](const Context& context) {
                 return show(context, *id);
             })
        .add_option("ID", *id, "The entry's identifier")
        ->required()
        ->type_name("");
}

void addAdd(CommandLine& commands, CLI::App& sel)
{
    const auto options = std::make_shared<Addition>();
    CLI::App& command = commands.add(
        sel,
        {.name = "add",
         .summary = "Stores a record, and says its identifier.",
         .more = "The log manager writes identifier and time into the "
                 "record.\n"
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
                    "The sensor's path, by which its faults are told apart")
        ->type_name("TEXT");
    command
        .add_option("--time", options->time,
                    "When it was, instead of now; as --since of \"sel list\"")
        ->type_name("TIME");
}

void addClear(CommandLine& commands, CLI::App& sel)
{
    const auto yes = std::make_shared<bool>(false);
    commands
        .add(sel,
             {.name = "clear",
              .summary = "Removes all entries.",
              .more = "Asks before, on a terminal. Faults stay: what they "
                      "tell of is still so.\n"
                      "\n"
                      "Examples:\n"
                      "  healthctl sel clear\n"
                      "  healthctl sel export backup.raw && "
                      "healthctl sel clear --yes"},
             [yes](const Context& context) {
                 return clear(context, *yes);
             })
        .add_flag("--yes", *yes, "Do not ask");
}

void addTransfer(CommandLine& commands, CLI::App& sel, const CommandText& text,
                 ExitCode (*work)(const Context&, const std::string&))
{
    const auto file = std::make_shared<std::string>();
    commands
        .add(sel, text,
             [file, work](const Context& context) {
                 return work(context, *file);
             })
        .add_option("FILE", *file, "The file; - for standard input or output")
        ->required()
        ->type_name("");
}

} // namespace

void addSel(CommandLine& commands)
{
    CLI::App& sel =
        commands.addGroup({.name = "sel",
                           .summary = "Reads and changes the System Event Log.",
                           .more = "Examples:\n"
                                   "  healthctl sel list --last 20\n"
                                   "  healthctl sel show 17\n"
                                   "  healthctl sel info"});
    addSelList(commands, sel);
    addShow(commands, sel);
    addAdd(commands, sel);
    addClear(commands, sel);
    addTransfer(commands, sel,
                {.name = "export",
                 .summary = "Writes all records to a file.",
                 .more = "The file has the 16 bytes of each record, one after "
                         "another: what\n"
                         "\"ipmitool sel writeraw\" writes and \"ipmitool sel "
                         "readraw\" reads.\n"
                         "\n"
                         "Examples:\n"
                         "  healthctl sel export log.raw\n"
                         "  healthctl sel export - | xxd"},
                exportTo);
    addTransfer(commands, sel,
                {.name = "import",
                 .summary = "Stores the records of a file.",
                 .more = "Takes what \"sel export\" and \"ipmitool sel "
                         "writeraw\" write. Records keep\n"
                         "their times and get new identifiers; such a file "
                         "has no names of sensors.\n"
                         "A file whose last record is cut is not imported at "
                         "all.\n"
                         "\n"
                         "Examples:\n"
                         "  healthctl sel import log.raw\n"
                         "  ssh other healthctl sel export - | healthctl sel "
                         "import -"},
                importFrom);
    commands.add(
        sel,
        {.name = "info",
         .summary = "Tells how full the log is, and what happens then.",
         .more = "Examples:\n"
                 "  healthctl sel info\n"
                 "  healthctl sel info --json"},
        info);
}

} // namespace healthintf::healthctl
