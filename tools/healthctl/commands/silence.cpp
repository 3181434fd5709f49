// SPDX-License-Identifier: Apache-2.0
#include "silence.hpp"

#include "../error.hpp"
#include "../healthmgr_service.hpp"
#include "../model/component.hpp"
#include "../model/hide_target.hpp"
#include "../numbers.hpp"
#include "../output/line_output.hpp"
#include "../output/silence_output.hpp"
#include "../source/operator_notes.hpp"
#include "arguments.hpp"
#include "target_options.hpp"

#include <nlohmann/json.hpp>
#include <systemd/sd-bus.h>

#include <cstdint>
#include <limits>
#include <memory>
#include <string>

#include <bus_calls.hpp>
#include <member_writer.hpp>

namespace healthintf::healthctl
{
namespace
{

using host::checkBus;
namespace member = host::members;

constexpr ServiceMethod addSilenceMethod =
    healthmgrMethod(host::silencesInterface, host::addSilenceMethod, true);
constexpr ServiceMethod endSilenceMethod =
    healthmgrMethod(host::silencesInterface, host::endSilenceMethod, true);

struct SilenceOptions
{
    TargetOptions target;
    std::string length;
    std::string comment;
};

void addTarget(host::MemberWriter& members, const HideTarget& target)
{
    if (target.sensorNumber != 0)
    {
        members.add(member::sensorNumber, "u",
                    static_cast<uint32_t>(target.sensorNumber));
    }
    else if (!target.key.empty())
    {
        members.add(member::component, target.key);
    }
    else
    {
        members.add(member::sensorPath, target.sensorPath);
    }
}

/** @return the silence's number
 *  @throws Error when healthmgr does not begin it */
uint64_t callAdd(const HideTarget& target, uint32_t seconds,
                 const std::string& comment)
{
    const ServiceClient client(healthmgr);
    const MessagePtr call = client.newCall(addSilenceMethod);
    host::MemberWriter members(call.get());
    addTarget(members, target);
    members.add(member::seconds, "u", seconds);
    members.add(member::comment, givenComment(comment));
    members.finish();
    const MessagePtr answer = replyOrUsage(client, addSilenceMethod, call);
    return client.parse([&answer] {
        uint64_t id = 0;
        checkBus("sd_bus_message_read",
                 sd_bus_message_read(answer.get(), "t", &id));
        return id;
    });
}

ExitCode addOne(const Context& context, const SilenceOptions& options)
{
    const HideTarget target = chooseTarget(options.target);
    requireOne(target);
    const uint32_t seconds = givenSpan(options.length);
    const TargetCounts counts = countNamed(options.target, target);
    const uint64_t id = callAdd(target, seconds, options.comment);
    if (context.json)
    {
        writeJson(context, "healthctl.silence-add/1",
                  {{"id", id},
                   {"component", target.key},
                   {"sensorPath", target.sensorPath},
                   {"sensorNumber", target.sensorNumber},
                   {"seconds", seconds},
                   {"comment", options.comment},
                   {"components", counts.components},
                   {"faults", counts.faults}});
    }
    else
    {
        writeLine(context, "Began silence " + std::to_string(id) + " of " +
                               targetInWords(target) + ". " +
                               describeTargets(true, counts));
    }
    return ExitCode::ok;
}

ExitCode listSilences(const Context& context)
{
    const Silences silences = readSilences();
    if (context.json)
    {
        writeJson(context, "healthctl.silence-list/1",
                  {{"silences", toJson(silences)}});
    }
    else if (silences.empty())
    {
        writeLine(context, "No silences.");
    }
    else
    {
        printSilences(context, silences);
    }
    return silences.empty() ? ExitCode::nothingFound : ExitCode::ok;
}

ExitCode endOne(const Context& context, uint64_t id)
{
    const ServiceClient client(healthmgr);
    const MessagePtr call = client.newCall(endSilenceMethod);
    checkBus("sd_bus_message_append",
             sd_bus_message_append(call.get(), "t", id));
    try
    {
        client.reply(endSilenceMethod, call);
    }
    catch (const Refusal& e)
    {
        if (e.name() == host::noSilenceError)
        {
            throw Error(ExitCode::notThere,
                        std::string(e.what()) +
                            "; \"healthctl silence list\" shows all");
        }
        throw;
    }
    if (context.json)
    {
        writeJson(context, "healthctl.silence-end/1", {{"id", id}});
    }
    else
    {
        writeLine(context, "Ended silence " + std::to_string(id) + ".");
    }
    return ExitCode::ok;
}

void addSilenceAdd(CommandLine& commands, CLI::App& group)
{
    const auto options = std::make_shared<SilenceOptions>();
    CLI::App& command = commands.add(
        group,
        {.name = "add",
         .summary = "Hides faults for a time.",
         .more =
             "Those that are there, and those that come until the end.\n\n"
             "Examples:\n"
             "  healthctl silence add --component chassis/psu1 --for 2h \\\n"
             "      --comment \"is being replaced\"\n"
             "  healthctl silence add --sensor-number 48 --for 7d \\\n"
             "      --comment \"fan 7 is ordered\""},
        [options](const Context& context) {
            return addOne(context, *options);
        });
    addTargetOptions(command, options->target);
    command
        .add_option("--for", options->length,
                    "How long: 30s, 10m, 2h or 7d; at most 366d")
        ->required()
        ->type_name("TIME");
    command
        .add_option("--comment", options->comment, "Why, for others to read")
        ->required()
        ->type_name("TEXT");
}

void addSilenceEnd(CommandLine& commands, CLI::App& group)
{
    const auto id = std::make_shared<uint64_t>(0);
    CLI::App& command = commands.add(
        group,
        {.name = "end",
         .summary = "Ends a silence before its time.",
         .more = "Its faults are shown again, unless something else hides "
                 "them.\n\n"
                 "Examples:\n"
                 "  healthctl silence end 3"},
        [id](const Context& context) {
            return endOne(context, *id);
        });
    addNumber(command, "ID", *id, {1, std::numeric_limits<int64_t>::max()},
              "The number of the silence, as \"list\" shows it")
        ->required()
        ->type_name("");
}

constexpr const char* silenceHelp =
    "A silence hides the faults of a component or a sensor until its end, "
    "over\n"
    "restarts of daemons, of healthmgr and of the machine. \"tree\" and "
    "\"faults\"\nshow what hides a fault.\n"
    "\n"
    "Examples:\n"
    "  healthctl silence add --component chassis/psu1 --for 2h \\\n"
    "      --comment \"is being replaced\"\n"
    "  healthctl silence list\n"
    "  healthctl silence end 3";

} // namespace

void addSilence(CommandLine& commands)
{
    CLI::App& group = commands.addGroup({.name = "silence",
                                         .summary = "Hides faults for a time.",
                                         .more = silenceHelp});
    addSilenceAdd(commands, group);
    commands.add(group,
                 {.name = "list",
                  .summary = "Lists the silences.",
                  .more = "Exits with 1 when there is none.\n\n"
                          "Examples:\n"
                          "  healthctl silence list\n"
                          "  healthctl silence list --json"},
                 listSilences);
    addSilenceEnd(commands, group);
}

} // namespace healthintf::healthctl
