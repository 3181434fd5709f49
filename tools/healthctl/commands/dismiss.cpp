// SPDX-License-Identifier: Apache-2.0
#include "dismiss.hpp"

#include "../error.hpp"
#include "../healthmgr_service.hpp"
#include "../model/component.hpp"
#include "../output/line_output.hpp"

#include <nlohmann/json.hpp>
#include <systemd/sd-bus.h>

#include <algorithm>
#include <cstddef>
#include <iostream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include <bus_calls.hpp>
#include <printable.hpp>

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

/** Dismisses what has a lost monitor, and says of each component what came of
 *  it.
 *
 *  @return the keys of those that were dismissed
 *  @throws Error when healthmgr dismisses nothing at all */
std::vector<std::string> dismissEach(const Context& context,
                                     const std::vector<std::string>& written)
{
    std::vector<std::string> keys;
    // Nothing is dismissed by a command line that is wrong.
    std::ranges::transform(written, std::back_inserter(keys), parseKey);
    std::vector<std::string> dismissed;
    for (std::size_t i = 0; i < keys.size(); ++i)
    {
        try
        {
            callDismiss(keys[i], written[i]);
        }
        catch (const Error& e)
        {
            if (e.code() != ExitCode::notThere || keys.size() == 1)
            {
                throw;
            }
            std::cerr << "healthctl: " << host::printable(e.what()) << '\n';
            continue;
        }
        dismissed.push_back(keys[i]);
        if (!context.json)
        {
            writeLine(context, "Dismissed the lost monitor of " +
                                   shownKey(keys[i]) + ".");
        }
    }
    return dismissed;
}

ExitCode dismiss(const Context& context,
                 const std::vector<std::string>& written)
{
    const std::vector<std::string> dismissed = dismissEach(context, written);
    if (context.json)
    {
        writeJson(context, "healthctl.dismiss/1", {{"components", dismissed}});
    }
    return dismissed.size() == written.size() ? ExitCode::ok
                                              : ExitCode::notThere;
}

constexpr const char* dismissHelp =
    "When a process ends without giving up a component that it watched, the\n"
    "component gets the fault HealthManager.1.0.MonitorLost, which stays "
    "until\n"
    "a process has the component again. Dismiss it when none is to come.\n"
    "Exits with 6 when one of the components has no lost monitor; the others\n"
    "are dismissed.\n"
    "\n"
    "Examples:\n"
    "  healthctl dismiss chassis/psu1\n"
    "  healthctl dismiss chassis/psu1 chassis/psu2\n"
    "  healthctl dismiss chassis/psu1 --json";

} // namespace

void addDismiss(CommandLine& commands)
{
    const auto written = std::make_shared<std::vector<std::string>>();
    commands
        .add({.name = "dismiss",
              .summary = "Ends the fault of a lost monitor.",
              .more = dismissHelp},
             [written](const Context& context) {
                 return dismiss(context, *written);
             })
        .add_option("KEY", *written, "The components")
        ->required()
        ->type_name("");
}

} // namespace healthintf::healthctl
