// SPDX-License-Identifier: Apache-2.0
#include "explain.hpp"

#include "../error.hpp"
#include "../output/explanation_output.hpp"
#include "../output/line_output.hpp"

#include <nlohmann/json.hpp>

#include <memory>
#include <string>

namespace healthintf::healthctl
{
namespace
{

/** @throws Error when there is no such message */
host::Explanation findExplanation(const std::string& id)
{
    const host::Explanations found = host::explainMessages({id});
    if (found.empty())
    {
        throw Error(ExitCode::notThere,
                    "no message registry and no event table has a message \"" +
                        id +
                        "\"; \"healthctl faults\" shows the identifiers of "
                        "faults, and \"healthctl doctor\" the files that "
                        "cannot be used");
    }
    return found.begin()->second;
}

ExitCode explain(const Context& context, const std::string& id)
{
    const host::Explanation explanation = findExplanation(id);
    if (context.json)
    {
        writeJson(context, "healthctl.explain/1", toJson(explanation));
    }
    else
    {
        writeFields(context, listFields(explanation));
    }
    return ExitCode::ok;
}

constexpr const char* explainHelp =
    "Shows what a message means and what to do about it, as its registry "
    "says,\n"
    "or which event of a sensor it stands for. A message is named in full, or\n"
    "without its version, or without its registry.\n"
    "\n"
    "Examples:\n"
    "  healthctl explain HostMonitor.1.0.FilesystemFull\n"
    "  healthctl explain FilesystemFull --json\n"
    "  healthctl explain SEC0031";

} // namespace

void addExplain(CommandLine& commands)
{
    const auto id = std::make_shared<std::string>();
    commands
        .add({.name = "explain",
              .summary = "Explains a message.",
              .more = explainHelp,
              .paged = true},
             [id](const Context& context) {
                 return explain(context, *id);
             })
        .add_option("ID", *id, "The message's identifier")
        ->required()
        ->type_name("");
}

} // namespace healthintf::healthctl
