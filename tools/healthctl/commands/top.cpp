// SPDX-License-Identifier: Apache-2.0
#include "top.hpp"

#include "../model/component.hpp"
#include "../numbers.hpp"
#include "../output/fault_output.hpp"
#include "../output/line_output.hpp"
#include "../source/operator_notes.hpp"
#include "../source/source_option.hpp"

#include <memory>
#include <string>

namespace healthintf::healthctl
{
namespace
{

struct TopOptions
{
    std::size_t n = 10;
    std::string component;
    bool severe = false;
    SourceChoice source = SourceChoice::automatic;
};

ExitCode top(const Context& context, const TopOptions& options)
{
    const std::string key =
        options.component.empty() ? "" : parseKey(options.component);
    const auto source = openSourceWithWarning(options.source);
    Faults faults = source->top(key, options.n, options.severe);
    addNotes(faults, *source);
    if (faults.empty() && !options.component.empty())
    {
        checkComponent(*source, options.component);
    }
    if (context.json)
    {
        writeJson(context, "healthctl.top/1",
                  {{"source", source->name()}, {"faults", toJson(faults)}});
    }
    else if (faults.empty())
    {
        writeLine(context, "No visible faults.");
    }
    else
    {
        printFaults(context, faults);
    }
    return faults.empty() ? ExitCode::nothingFound : ExitCode::ok;
}

} // namespace

void addTop(CommandLine& commands)
{
    const auto options = std::make_shared<TopOptions>();
    CLI::App& command = commands.add(
        {.name = "top",
         .summary = "Lists the most important visible faults.",
         .more = "The most severe come first, of those the oldest.\n"
                 "Exits with 1 when there is none.\n\n"
                 "Examples:\n"
                 "  healthctl top\n"
                 "  healthctl top 3 --component chassis/psu1\n"
                 "  healthctl top 0 --severe --json",
         .paged = true},
        [options](const Context& context) {
            return top(context, *options);
        });
    addNumber(command, "N", options->n, {0}, "How many at most; 0 for all")
        ->capture_default_str()
        ->type_name("");
    command
        .add_option("-c,--component", options->component,
                    "Only faults of this component and below it")
        ->type_name("PATH");
    command.add_flag("--severe", options->severe, "Only severities above OK");
    addSourceOption(command, options->source);
}

} // namespace healthintf::healthctl
