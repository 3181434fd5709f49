// SPDX-License-Identifier: Apache-2.0
#include "check.hpp"

#include "../doctor/bus_probe.hpp"
#include "../model/component.hpp"
#include "../output/check_output.hpp"
#include "../source/source_option.hpp"

#include <com/vexa/olvar/healthmgr/names.hpp>
#include <hmi_health_value.hpp>

#include <memory>
#include <string>

namespace healthintf::healthctl
{
namespace
{

struct CheckOptions
{
    std::string component = names::root;
    SourceChoice source = SourceChoice::automatic;
};

/** Why healthmgr may not keep its nodes up to date; empty when it does. */
std::string doubtHealthmgr()
{
    const BusProbe bus;
    if (!bus.connected())
    {
        return "nobody knows whether healthmgr runs, unable to connect to the "
               "bus: " +
               bus.state().failure;
    }
    const ServiceState healthmgr = bus.healthmgr();
    if (healthmgr.pid == 0)
    {
        return "healthmgr does not run, so the health may be out of date";
    }
    return healthmgr.answers
               ? ""
               : "healthmgr does not answer, so the health may be out of date";
}

/** Why a judgement is not to be relied on; empty when it is. */
std::string doubt(const TreeNode& component, const ComponentCheck& check)
{
    std::string why =
        needsHealthmgr(component) ? doubtHealthmgr() : std::string();
    if (!why.empty() || check.state != CheckState::unknown)
    {
        return why;
    }
    return component.recorded
               ? "its health is " +
                     std::string(health_namespace::healthWord(check.health))
               : "it has no health node";
}

CheckState check(const Context& context, const CheckOptions& options)
{
    const std::string key = parseKey(options.component);
    const auto source = openSource(options.source);
    const Faults faults = source->faults();
    const auto trees = buildTrees(source->nodes(), faults);
    const TreeNode* component = findNode(trees, key);
    if (component == nullptr)
    {
        throw noComponentIn(*source, options.component);
    }
    CheckReport report{.source = source->name(),
                       .silent = source->silent().size(),
                       .component = judge(*component, faults),
                       .why = ""};
    report.why = doubt(*component, *report.component);
    writeReport(context, report);
    return report.state();
}

constexpr const char* help =
    "For monitoring systems and scripts: exits and writes one line as a\n"
    "monitoring plugin does. The health is that of the component's node, so\n"
    "the worst below it counts. Hidden faults count for no health.\n"
    "\n"
    "Exit status: 0 OK; 1 warning; 2 critical; 3 unknown: there is no such\n"
    "component, its health is none or unknown, healthmgr does not run while\n"
    "the component has others below it, nothing could be read, or the command\n"
    "line is wrong.\n"
    "\n"
    "Examples:\n"
    "  healthctl check\n"
    "  healthctl check chassis/fans || logger \"look at the fans\"\n"
    "  healthctl check chassis/psu1 --json";

} // namespace

void addCheck(CommandLine& commands)
{
    const auto options = std::make_shared<CheckOptions>();
    CLI::App& command = commands.addCheck(
        {.name = "check",
         .summary = "Tells monitoring systems how a component is.",
         .more = help},
        {.run =
             [options](const Context& context) {
                 return check(context, *options);
             },
         .tellFailure =
             [](const Context& context, const std::string& why) {
                 CheckReport report;
                 report.why = why;
                 writeReport(context, report);
             }});
    command
        .add_option("KEY", options->component,
                    "The component; without it the whole tree")
        ->type_name("");
    addSourceOption(command, options->source);
}

} // namespace healthintf::healthctl
