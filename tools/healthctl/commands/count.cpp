// SPDX-License-Identifier: Apache-2.0
#include "count.hpp"

#include "../output/line_output.hpp"
#include "../source/source_option.hpp"

#include <nlohmann/json.hpp>

#include <memory>
#include <string>

namespace healthintf::healthctl
{
namespace
{

ExitCode count(const Context& context, SourceChoice choice)
{
    const auto source = openSourceWithWarning(choice);
    const Counts counts = source->counts();
    if (context.json)
    {
        writeJson(context, "healthctl.count/1",
                  {{"source", source->name()},
                   {"visible", counts.visible},
                   {"hidden", counts.hidden}});
    }
    else
    {
        writeFields(context, {{"visible", std::to_string(counts.visible)},
                              {"hidden", std::to_string(counts.hidden)}});
    }
    return ExitCode::ok;
}

} // namespace

void addCount(CommandLine& commands)
{
    const auto choice = std::make_shared<SourceChoice>();
    CLI::App& command =
        commands.add({.name = "count",
                      .summary = "Counts the visible and the hidden faults.",
                      .more = "Examples:\n"
                              "  healthctl count\n"
                              "  healthctl count --json"},
                     [choice](const Context& context) {
                         return count(context, *choice);
                     });
    addSourceOption(command, *choice);
}

} // namespace healthintf::healthctl
