// SPDX-License-Identifier: Apache-2.0
#include "raise.hpp"

#include "../error.hpp"
#include "../healthmgr_service.hpp"
#include "../model/component.hpp"
#include "../numbers.hpp"
#include "../output/line_output.hpp"
#include "../output/time_text.hpp"
#include "arguments.hpp"

#include <healthmgr/raised_fault_protocol.hpp>
#include <nlohmann/json.hpp>
#include <systemd/sd-bus.h>

#include <cstdint>
#include <ctime>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <bus_calls.hpp>

namespace healthintf::healthctl
{
namespace
{

using host::checkBus;
using Json = nlohmann::ordered_json;

constexpr ServiceMethod raiseMethod =
    healthmgrMethod(host::raisedFaultsInterface, host::raiseMethod, true);
constexpr ServiceMethod clearMethod =
    healthmgrMethod(host::raisedFaultsInterface, host::clearMethod, true);

struct RaiseOptions
{
    /** The component as it was written. */
    std::string component;
    std::string message;
    std::vector<std::string> arguments;
    std::string sensorPath;
    uint32_t sensorNumber = 0;
    /** How long, as it was written; empty when it was not. */
    std::string length;
    bool trial = false;
};

/** How many seconds the fault lasts; 0 for no end.
 *
 *  @throws Error when the length is none */
uint32_t raisedSeconds(const RaiseOptions& options)
{
    constexpr uint32_t usualTrial = 5 * 60;
    if (options.length.empty())
    {
        return options.trial ? usualTrial : 0;
    }
    const uint32_t seconds = givenSpan(options.length);
    if (seconds == 0)
    {
        throw Error(ExitCode::usage, "a fault cannot end before it began; "
                                     "give --for more than 0s");
    }
    return seconds;
}

void callRaise(const std::string& key, const RaiseOptions& options,
               uint32_t seconds)
{
    const ServiceClient client(healthmgr);
    const MessagePtr call = client.newCall(raiseMethod);
    sd_bus_message* raw = call.get();
    checkBus(
        "sd_bus_message_append",
        sd_bus_message_append(raw, "ss", key.c_str(), options.message.c_str()));
    checkBus("sd_bus_message_open_container",
             sd_bus_message_open_container(raw, 'a', "s"));
    for (const std::string& argument : options.arguments)
    {
        if (sd_bus_message_append(raw, "s", argument.c_str()) < 0)
        {
            throw Error(ExitCode::usage,
                        "D-Bus cannot carry an argument; write it in UTF-8");
        }
    }
    checkBus("sd_bus_message_close_container",
             sd_bus_message_close_container(raw));
    checkBus("sd_bus_message_append",
             sd_bus_message_append(raw, "suub", options.sensorPath.c_str(),
                                   options.sensorNumber, seconds,
                                   options.trial ? 1 : 0));
    replyOrUsage(client, raiseMethod, call);
}

/** Tells what was raised, and when it ends. */
void tellRaised(const Context& context, const std::string& key,
                const RaiseOptions& options, std::optional<uint64_t> end)
{
    const std::string shown = shownKey(key);
    writeLine(context,
              "Raised " + options.message + " on " + shown +
                  (options.trial ? " for trial" : "") +
                  (end ? ", until " + localTime(*end) + "."
                       : "; \"healthctl clear " + shown + "\" ends it."));
}

ExitCode raise(const Context& context, const RaiseOptions& options)
{
    const std::string key = parseKey(options.component);
    const uint32_t seconds = raisedSeconds(options);
    callRaise(key, options, seconds);
    std::optional<uint64_t> end;
    if (seconds > 0)
    {
        end = static_cast<uint64_t>(std::time(nullptr)) + seconds;
    }
    if (context.json)
    {
        writeJson(context, "healthctl.raise/1",
                  {{"component", key},
                   {"messageId", options.message},
                   {"args", options.arguments},
                   {"trial", options.trial},
                   {"until", end ? Json(*end) : Json(nullptr)}});
    }
    else
    {
        tellRaised(context, key, options, end);
    }
    return ExitCode::ok;
}

struct ClearRaisedOptions
{
    /** The component as it was written; empty when it was not. */
    std::string component;
    std::string message;
    bool all = false;
};

/** @throws Error as replyOrUsage(); that there is none when no fault ends */
MessagePtr replyToClear(const ServiceClient& client, const MessagePtr& call)
{
    try
    {
        return replyOrUsage(client, clearMethod, call);
    }
    catch (const Refusal& e)
    {
        if (e.name() == host::noRaisedFaultError)
        {
            throw Error(ExitCode::notThere,
                        std::string(e.what()) +
                            "; \"healthctl faults\" shows what there is");
        }
        throw;
    }
}

/** @return how many faults have ended */
uint32_t callClearRaised(const std::string& key, const std::string& message)
{
    const ServiceClient client(healthmgr);
    const MessagePtr call = client.newCall(clearMethod);
    checkBus(
        "sd_bus_message_append",
        sd_bus_message_append(call.get(), "ss", key.c_str(), message.c_str()));
    const MessagePtr answer = replyToClear(client, call);
    return client.parse([&answer] {
        uint32_t ended = 0;
        checkBus("sd_bus_message_read",
                 sd_bus_message_read(answer.get(), "u", &ended));
        return ended;
    });
}

ExitCode clearRaised(const Context& context, const ClearRaisedOptions& options)
{
    if (options.all == !options.component.empty())
    {
        throw Error(ExitCode::usage,
                    "give a component, or --all for the raised faults of all");
    }
    const std::string key = options.all ? "" : parseKey(options.component);
    const uint32_t ended = callClearRaised(key, options.message);
    if (context.json)
    {
        const auto orNull = [](const std::string& text) {
            return text.empty() ? Json(nullptr) : Json(text);
        };
        writeJson(context, "healthctl.clear/1",
                  {{"component", orNull(key)},
                   {"messageId", orNull(options.message)},
                   {"faults", ended}});
    }
    else
    {
        writeLine(context,
                  "Ended " + std::to_string(ended) +
                      (ended == 1 ? " raised fault" : " raised faults") +
                      (options.all ? "." : " of " + shownKey(key) + "."));
    }
    return ExitCode::ok;
}

constexpr const char* raiseHelp =
    "healthmgr holds the fault, so it outlives this command and a restart of\n"
    "healthmgr, but not the next boot. Raising it again with other arguments\n"
    "replaces it; with the same ones it goes on, with the new end. A "
    "component\n"
    "that a process holds is refused: raise the fault on one below it.\n"
    "\n"
    "A fault for trial says so wherever healthctl shows it. It counts for the\n"
    "health as any other, so that the whole chain of an alarm is tried.\n"
    "\n"
    "Write -- in front of arguments that begin with a minus sign.\n"
    "\n"
    "Examples:\n"
    "  healthctl raise --trial chassis/psu1 \\\n"
    "      HostMonitor.1.0.TemperatureCritical 'PSU 1' 101 95\n"
    "  healthctl raise backup HostMonitor.1.0.ProcessMissing backupd 0 1\n"
    "  healthctl clear backup";

constexpr const char* clearHelp =
    "Faults of daemons are the daemons' own, and stay.\n"
    "\n"
    "Examples:\n"
    "  healthctl clear backup\n"
    "  healthctl clear backup HostMonitor.1.0.ProcessMissing\n"
    "  healthctl clear --all";

} // namespace

void addRaise(CommandLine& commands)
{
    const auto options = std::make_shared<RaiseOptions>();
    CLI::App& command =
        commands.add({.name = "raise",
                      .summary = "Raises a fault that no daemon reports.",
                      .more = raiseHelp},
                     [options](const Context& context) {
                         return raise(context, *options);
                     });
    command.add_option("KEY", options->component, "The component")
        ->required()
        ->type_name("");
    command
        .add_option("MESSAGE", options->message,
                    "The message's identifier in a registry")
        ->required()
        ->type_name("");
    command
        .add_option("ARGUMENT", options->arguments,
                    "The message's arguments, in order")
        ->type_name("");
    command.add_flag("--trial", options->trial,
                     "Mark it as a trial, of 5 minutes without --for");
    command
        .add_option("--for", options->length,
                    "End it by itself after 30s, 10m, 2h or 7d")
        ->type_name("TIME");
    command
        .add_option("--sensor-path", options->sensorPath,
                    "The sensor that saw it")
        ->type_name("PATH");
    addNumber(command, "--sensor-number", options->sensorNumber, {1},
              "The sensor's IPMI number")
        ->type_name("N");
}

void addClear(CommandLine& commands)
{
    const auto options = std::make_shared<ClearRaisedOptions>();
    CLI::App& command =
        commands.add({.name = "clear",
                      .summary = "Ends faults that \"raise\" has raised.",
                      .more = clearHelp},
                     [options](const Context& context) {
                         return clearRaised(context, *options);
                     });
    command.add_option("KEY", options->component, "The component")
        ->type_name("");
    command
        .add_option("MESSAGE", options->message,
                    "Only faults with this message")
        ->type_name("");
    command.add_flag("--all", options->all, "The raised faults of all");
}

} // namespace healthintf::healthctl
