// SPDX-License-Identifier: Apache-2.0
#include "faults.hpp"

#include "../choices.hpp"
#include "../model/component.hpp"
#include "../model/fault_filter.hpp"
#include "../numbers.hpp"
#include "../output/fault_output.hpp"
#include "../output/line_output.hpp"
#include "../source/source_option.hpp"

#include <hmi_health_value.hpp>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

namespace healthintf::healthctl
{
namespace
{

struct FaultsOptions
{
    std::string component;
    bool visible = false;
    bool hidden = false;
    bool all = false;
    FaultFilter filter;
    SourceChoice source = SourceChoice::automatic;
};

FaultFilter makeFilter(const FaultsOptions& options)
{
    FaultFilter filter = options.filter;
    if (!options.component.empty())
    {
        filter.key = parseKey(options.component);
    }
    filter.visibility = options.all      ? Visibility::all
                        : options.hidden ? Visibility::hidden
                                         : Visibility::visible;
    return filter;
}

/** Says how many hidden faults are not listed. */
void writeHiddenCount(const Context& context, const Faults& faults,
                      FaultFilter filter)
{
    if (filter.visibility != Visibility::visible)
    {
        return;
    }
    filter.visibility = Visibility::hidden;
    filter.limit = 0;
    if (const auto hidden = chooseFaults(faults, filter).size(); hidden > 0)
    {
        writeLine(
            context,
            std::to_string(hidden) +
                (hidden == 1 ? " hidden fault is" : " hidden faults are") +
                " not shown (see --all)",
            Tone::faint);
    }
}

ExitCode faults(const Context& context, const FaultsOptions& options)
{
    const FaultFilter filter = makeFilter(options);
    const auto source = openSourceWithWarning(options.source);
    const Faults all = source->faults();
    const Faults chosen = chooseFaults(all, filter);
    if (chosen.empty() && !options.component.empty())
    {
        checkComponent(*source, options.component);
    }
    if (context.json)
    {
        writeJson(context, "healthctl.faults/1",
                  {{"source", source->name()}, {"faults", toJson(chosen)}});
    }
    else
    {
        if (chosen.empty())
        {
            writeLine(context, "No such faults.");
        }
        printFaults(context, chosen);
        writeHiddenCount(context, all, filter);
    }
    return chosen.empty() ? ExitCode::nothingFound : ExitCode::ok;
}

void addSeverity(CLI::App& command, FaultFilter& filter)
{
    static const Choices<uint32_t> words{
        {"critical", health_namespace::healthCritical},
        {"warning", health_namespace::healthWarning},
        {"OK", health_namespace::healthOk},
        {"unknown", health_namespace::healthUnknown}};
    command
        .add_option_function<std::vector<std::string>>(
            "-s,--severity",
            [&filter](const std::vector<std::string>& chosen) {
                for (const std::string& word : chosen)
                {
                    filter.severities.insert(
                        parseChoice("--severity", word, words));
                }
            },
            "critical, warning, OK or unknown; repeatable")
        ->type_name("WORD")
        ->expected(1)
        ->take_all();
}

void addOrder(CLI::App& command, FaultFilter& filter)
{
    static const Choices<FaultOrder> orders{
        {"time", FaultOrder::time},
        {"severity", FaultOrder::severity},
        {"component", FaultOrder::component}};
    addChoice(command, "--sort", filter.order, orders,
              "time, severity (the default) or component");
    command.add_flag("-r,--reverse", filter.reverse, "The other way round");
    addNumber(command, "-n,--limit", filter.limit, {0},
              "How many at most; 0 for all")
        ->type_name("N");
}

} // namespace

void addFaults(CommandLine& commands)
{
    const auto options = std::make_shared<FaultsOptions>();
    CLI::App& command = commands.add(
        {.name = "faults",
         .summary = "Lists faults.",
         .more = "Exits with 1 when there is none.\n\n"
                 "Examples:\n"
                 "  healthctl faults\n"
                 "  healthctl faults --severity critical --severity warning\n"
                 "  healthctl faults --component chassis/psu1 --all\n"
                 "  healthctl faults --sort time --reverse --limit 5 --json"},
        [options](const Context& context) {
            return faults(context, *options);
        });
    command
        .add_option("-c,--component", options->component,
                    "Only faults of this component and below it")
        ->type_name("PATH");
    addSeverity(command, options->filter);
    auto* hidden =
        command.add_flag("--hidden", options->hidden, "Only hidden faults");
    auto* visible = command.add_flag("--visible", options->visible,
                                     "Only visible faults (the default)");
    auto* all =
        command.add_flag("--all", options->all, "Visible and hidden faults");
    hidden->excludes(visible)->excludes(all);
    visible->excludes(all);
    addOrder(command, options->filter);
    addSourceOption(command, options->source);
}

} // namespace healthintf::healthctl
