// SPDX-License-Identifier: Apache-2.0
#include "hide.hpp"

#include "../echo.hpp"
#include "../error.hpp"
#include "../model/component.hpp"
#include "../model/hide_target.hpp"
#include "../numbers.hpp"
#include "../output/line_output.hpp"
#include "../source/health_source.hpp"

#include <com/vexa/olvar/healthmgr/names.hpp>
#include <hmi_fault_health.hpp>

#include <nlohmann/json.hpp>

#include <memory>
#include <string>

namespace healthintf::healthctl
{
namespace
{

/** The faults that an operator names. */
struct Options
{
    /** The component as it was written; empty for none. */
    std::string component;
    HideTarget target;
};

/** @throws Error for a text that is longer than components accept */
void checkLength(const std::string& text)
{
    using health_namespace::FaultAndHealth;
    if (text.size() > FaultAndHealth::maxHideText)
    {
        throw Error(ExitCode::usage,
                    "a name has " + std::to_string(text.size()) +
                        " bytes; components obey names of up to " +
                        std::to_string(FaultAndHealth::maxHideText));
    }
}

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

/** Counts what the signal will meet, because nobody answers it.
 *
 *  @throws Error when there is no component of that name */
TargetCounts count(const Options& options)
{
    const auto source = openSourceWithWarning(SourceChoice::automatic);
    if (!options.component.empty())
    {
        checkComponent(*source, options.component);
    }
    return countTargets(options.target, source->faults());
}

ExitCode setHidden(const Context& context, bool hide, Options options)
{
    HideTarget& target = options.target;
    if (options.component.empty() && target.sensorPath.empty() &&
        target.sensorNumber == 0)
    {
        throw Error(ExitCode::usage,
                    "nothing is named; give --component, --sensor-path or "
                    "--sensor-number");
    }
    checkLength(options.component);
    checkLength(target.sensorPath);
    if (!options.component.empty())
    {
        target.key = parseKey(options.component);
    }
    const TargetCounts counts = count(options);
    send(hide, target);
    if (context.json)
    {
        writeJson(context, "healthctl.hide/1",
                  {{"hide", hide},
                   {"component", target.key},
                   {"sensorPath", target.sensorPath},
                   {"sensorNumber", target.sensorNumber},
                   {"components", counts.components},
                   {"faults", counts.faults}});
    }
    else
    {
        writeLine(context, describeTargets(hide, counts));
    }
    return ExitCode::ok;
}

void addTo(CommandLine& commands, bool hide, const CommandText& text)
{
    const auto options = std::make_shared<Options>();
    CLI::App& command =
        commands.add(text, [hide, options](const Context& context) {
            return setHidden(context, hide, *options);
        });
    command
        .add_option("-c,--component", options->component,
                    "All faults of this component, but not below it")
        ->type_name("PATH");
    command
        .add_option("--sensor-path", options->target.sensorPath,
                    "The faults of this sensor")
        ->type_name("PATH");
    addNumber(command, "--sensor-number", options->target.sensorNumber, {1},
              "The faults of the sensors with this IPMI number")
        ->type_name("N");
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
             "then\nwhat nothing else hides, faults of other sensors, too.\n"
             "\n"
             "Examples:\n"
             "  healthctl unhide --component chassis/psu1\n"
             "  healthctl unhide --sensor-path /com/vexa/olvar/sensors/fan7\n"
             "  healthctl unhide --sensor-number 48"});
}

} // namespace healthintf::healthctl
