// SPDX-License-Identifier: Apache-2.0
#include "dismiss.hpp"

#include "../error.hpp"
#include "../healthmgr_service.hpp"
#include "../model/component.hpp"
#include "../output/line_output.hpp"

#include <nlohmann/json.hpp>
#include <systemd/sd-bus.h>

#include <memory>
#include <string>

#include <bus_calls.hpp>

namespace healthintf::healthctl
{
namespace
{

constexpr ServiceMethod dismissMethod =
    healthmgrMethod(host::lostMonitorsInterface, host::dismissMethod, true);

/** @param[in] written the component as the operator wrote it
 *  @throws Error when it was not dismissed */
void callDismiss(const std::string& key, const std::string& written)
{
    const ServiceClient client(healthmgr);
    const MessagePtr call = client.newCall(dismissMethod);
    host::checkBus("sd_bus_message_append",
                   sd_bus_message_append(call.get(), "s", key.c_str()));
    try
    {
        client.reply(dismissMethod, call);
    }
    catch (const Refusal& e)
    {
        if (e.name() == host::noLostMonitorError)
        {
            throw Error(ExitCode::notThere,
                        "the component \"" + written +
                            "\" has no lost monitor; \"healthctl faults\" "
                            "shows those that have one");
        }
        throw;
    }
}

ExitCode dismiss(const Context& context, const std::string& written)
{
    const std::string key = parseKey(written);
    callDismiss(key, written);
    if (context.json)
    {
        writeJson(context, "healthctl.dismiss/1", {{"component", key}});
    }
    else
    {
        writeLine(context,
                  "Dismissed the lost monitor of " + shownKey(key) + ".");
    }
    return ExitCode::ok;
}

constexpr const char* dismissHelp =
    "When a process ends without giving up a component that it watched, the\n"
    "component gets the fault HealthManager.1.0.MonitorLost, which stays "
    "until\n"
    "a process has the component again. Dismiss it when none is to come.\n"
    "\n"
    "Examples:\n"
    "  healthctl dismiss chassis/psu1\n"
    "  healthctl dismiss chassis/psu1 --json";

} // namespace

void addDismiss(CommandLine& commands)
{
    const auto written = std::make_shared<std::string>();
    commands
        .add({.name = "dismiss",
              .summary = "Ends the fault of a lost monitor.",
              .more = dismissHelp},
             [written](const Context& context) {
                 return dismiss(context, *written);
             })
        .add_option("KEY", *written, "The component")
        ->required()
        ->type_name("");
}

} // namespace healthintf::healthctl
