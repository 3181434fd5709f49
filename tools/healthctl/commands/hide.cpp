#include "hide.hpp"

#include "../echo.hpp"
#include "../error.hpp"
#include "../model/component.hpp"
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

/** Whose faults are meant. */
struct Target
{
    std::string component;
    std::string sensorPath;
    int sensorNumber = 0;
};

/** The component's key; empty for none.
 *
 *  @throws Error when nobody holds it: nobody would answer a signal, so a slip
 *          of the pen would go unseen */
std::string heldKey(const Target& target)
{
    if (target.component.empty())
    {
        return "";
    }
    checkComponent(*openSourceAndTell(SourceChoice::automatic),
                   target.component);
    return keyOf(target.component);
}

/** @throws Error for a text that no component obeys */
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

void send(bool hide, const std::string& key, const Target& target)
{
    using health_namespace::FaultAndHealth;
    Echo echo(std::string("path='") + names::root + "',interface='" +
              names::managerInterface + "',member='HideFaultForSensor'");
    if (FaultAndHealth::SendHideFaultsSignal(hide, key, target.sensorPath,
                                             target.sensorNumber) !=
        health_namespace::statusOk)
    {
        throw Error(ExitCode::usage,
                    "D-Bus cannot carry these names; give the sensor's path "
                    "as \"healthctl faults\" shows it");
    }
    echo.expect();
}

ExitCode setHidden(const Context& context, bool hide, const Target& target)
{
    if (target.component.empty() && target.sensorPath.empty() &&
        target.sensorNumber == 0)
    {
        throw Error(ExitCode::usage,
                    "nothing is named; give --component, --sensor-path or "
                    "--sensor-number");
    }
    checkLength(target.component);
    checkLength(target.sensorPath);
    const std::string key = heldKey(target);
    send(hide, key, target);
    if (context.json)
    {
        writeJson(context, "healthctl.hide/1",
                  {{"hide", hide},
                   {"component", key},
                   {"sensorPath", target.sensorPath},
                   {"sensorNumber", target.sensorNumber}});
    }
    else
    {
        writeLine(context, std::string("All components were asked to ") +
                               (hide ? "hide" : "show") + " these faults.");
    }
    return ExitCode::ok;
}

void addTo(CommandLine& commands, bool hide, const CommandText& text)
{
    const auto target = std::make_shared<Target>();
    CLI::App& command =
        commands.add(text, [hide, target](const Context& context) {
            return setHidden(context, hide, *target);
        });
    command
        .add_option("-c,--component", target->component,
                    "All faults of this component, but not below it")
        ->type_name("PATH");
    command
        .add_option("--sensor-path", target->sensorPath,
                    "The faults of this sensor")
        ->type_name("PATH");
    addNumber(command, "--sensor-number", target->sensorNumber, {1},
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
