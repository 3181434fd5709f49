// SPDX-License-Identifier: Apache-2.0
#include "hide.hpp"

#include "../echo.hpp"
#include "../error.hpp"
#include "../model/hide_target.hpp"
#include "../output/line_output.hpp"
#include "../output/silence_output.hpp"
#include "../source/operator_notes.hpp"
#include "target_options.hpp"

#include <com/vexa/olvar/healthmgr/names.hpp>
#include <hmi_fault_health.hpp>

#include <nlohmann/json.hpp>

#include <memory>
#include <string>

namespace healthintf::healthctl
{
namespace
{

void send(bool hide, const HideTarget& target)
{
    using health_namespace::FaultAndHealth;
    Echo echo(std::string("path='") + names::root + "',interface='" +
              names::managerInterface + "',member='HideFaultForSensor'");
    if (FaultAndHealth::SendHideFaultsSignal(
            hide, target.key, target.sensorPath, target.sensorNumber) !=
        health_namespace::statusOk)
    {
        throw Error(ExitCode::usage,
                    "D-Bus cannot carry these names; give the sensor's path "
                    "as \"healthctl faults\" shows it");
    }
    echo.expect();
}

/** The silences that hide again what was asked to be shown. */
Silences findSilences(bool hide, const HideTarget& target)
{
    try
    {
        return hide ? Silences() : chooseSilences(readSilences(), target);
    }
    catch (const Error&)
    {
        // Nobody hides anything again then.
        return {};
    }
}

ExitCode setHidden(const Context& context, bool hide,
                   const TargetOptions& options)
{
    const HideTarget target = chooseTarget(options);
    const TargetCounts counts = countNamed(options, target);
    send(hide, target);
    const Silences silences = findSilences(hide, target);
    if (context.json)
    {
        writeJson(context, "healthctl.hide/1",
                  {{"hide", hide},
                   {"component", target.key},
                   {"sensorPath", target.sensorPath},
                   {"sensorNumber", target.sensorNumber},
                   {"components", counts.components},
                   {"faults", counts.faults},
                   {"silences", toJson(silences)}});
    }
    else
    {
        writeLine(context, describeTargets(hide, counts));
        writeSilences(context, silences);
    }
    return ExitCode::ok;
}

void addTo(CommandLine& commands, bool hide, const CommandText& text)
{
    const auto options = std::make_shared<TargetOptions>();
    CLI::App& command =
        commands.add(text, [hide, options](const Context& context) {
            return setHidden(context, hide, *options);
        });
    addTargetOptions(command, *options);
}

} // namespace

void addHide(CommandLine& commands)
{
    addTo(
        commands, true,
        {.name = "hide",
         .summary = "Hides faults, which then count for no health.",
         .more =
             "Asks the components of all processes. Where several are named,\n"
             "the component itself takes the first, others the sensor's path,\n"
             "and without one its number. What is added later is visible.\n"
             "\n"
             "Examples:\n"
             "  healthctl hide --component chassis/psu1\n"
             "  healthctl hide --sensor-path /com/vexa/olvar/sensors/fan7\n"
             "  healthctl hide --sensor-number 48"});
}

void addUnhide(CommandLine& commands)
{
    addTo(
        commands, false,
        {.name = "unhide",
         .summary = "Shows faults again that were hidden.",
         .more =
             "Undoes \"healthctl hide\" with the same names. A component shows "
             "then\nwhat nothing else hides, faults of other sensors, too. A "
             "silence of\n"
             "these names hides its faults again, and is named.\n"
             "\n"
             "Examples:\n"
             "  healthctl unhide --component chassis/psu1\n"
             "  healthctl unhide --sensor-path /com/vexa/olvar/sensors/fan7\n"
             "  healthctl unhide --sensor-number 48"});
}

} // namespace healthintf::healthctl
