// SPDX-License-Identifier: Apache-2.0
#include "sel.hpp"

#include "../error.hpp"
#include "../numbers.hpp"
#include "../output/line_output.hpp"
#include "../sel/log_reader.hpp"
#include "../sel/logmgr_client.hpp"
#include "../sel/sel_entries.hpp"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

namespace healthintf::healthctl
{
namespace
{

using Json = nlohmann::ordered_json;

constexpr const char* entriesSchema = "healthctl.sel-entries/1";

ReadEvent findEvent(const ReadLog& log, uint16_t id)
{
    const auto entry =
        std::ranges::find(log.entries, id, &SELEntry_gen::recordId);
    if (entry == log.entries.end())
    {
        throw Error(ExitCode::notThere,
                    "the log has no entry " + std::to_string(id) +
                        "; \"healthctl sel list\" shows those it has");
    }
    return described({*entry}).front();
}

ExitCode show(const Context& context, uint16_t id)
{
    const ReadLog log = readLog();
    const ReadEvent event = findEvent(log, id);
    if (context.json)
    {
        writeJson(context, entriesSchema,
                  {{"source", log.source()},
                   {"entries", Json::array({toJson(event)})}});
    }
    else
    {
        writeFields(context, listFields(event));
    }
    return ExitCode::ok;
}

std::string momentOrNever(uint32_t seconds)
{
    return seconds == 0 ? "never" : momentText(seconds);
}

ExitCode info(const Context& context)
{
    const services::LogStatus log = LogmgrClient().status();
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
    CLI::App& command =
        commands.add(sel,
                     {.name = "show",
                      .summary = "Shows every field of one entry.",
                      .more = "Examples:\n"
                              "  healthctl sel show 17\n"
                              "  healthctl sel show 17 --json"},
                     [id](const Context& context) {
                         return show(context, *id);
                     });
    addNumber(command, "ID", *id, {0, UINT16_MAX}, "The entry's identifier")
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
    addSelChanges(commands, sel);
    addSelTransfer(commands, sel);
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
