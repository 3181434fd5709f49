// SPDX-License-Identifier: Apache-2.0
#include "tree.hpp"

#include "../error.hpp"
#include "../model/component.hpp"
#include "../model/tree_choice.hpp"
#include "../numbers.hpp"
#include "../output/line_output.hpp"
#include "../output/silence_output.hpp"
#include "../output/tree_output.hpp"
#include "../source/operator_notes.hpp"
#include "../source/source_option.hpp"

#include <cstddef>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include <printable.hpp>

namespace healthintf::healthctl
{
namespace
{

struct TreeOptions
{
    std::string root;
    TreeView view;
    bool paths = false;
    bool problems = false;
    SourceChoice source = SourceChoice::automatic;
};

using Tops = std::vector<const TreeNode*>;

/** The trees that are wanted: all, or the one of a key.
 *
 *  @throws Error when there is no such key */
Tops chooseTops(const HealthSource& source, const std::vector<TreeNode>& trees,
                const std::string& written)
{
    if (written.empty())
    {
        return listTops(trees);
    }
    const TreeNode* found = findNode(trees, parseKey(written));
    if (found == nullptr)
    {
        throw noComponentIn(source, written);
    }
    return {found};
}

/** Writes keys for programs, such as the shell's completion. */
void printPaths(std::ostream& out, const TreeNode& node, const TreeView& view,
                std::size_t depth)
{
    out << host::printable(shownKey(node.key)) << '\n';
    if (view.depth && depth >= *view.depth)
    {
        return;
    }
    for (const TreeNode& child : node.children)
    {
        printPaths(out, child, view, depth + 1);
    }
}

void writeTrees(const Context& context, const HealthSource& source,
                const Tops& tops, const TreeView& view,
                const Silences& silences)
{
    auto trees = nlohmann::ordered_json::array();
    for (const TreeNode* top : tops)
    {
        trees.push_back(toJson(*top, view));
    }
    writeJson(context, "healthctl.tree/1",
              {{"source", source.name()},
               {"trees", trees},
               {"silences", toJson(silences)}});
}

/** Writes trees in the form that is wanted. */
void writeChosen(const Context& context, const HealthSource& source,
                 const Tops& tops, const TreeOptions& options,
                 const Silences& all)
{
    const Silences silences = chooseSilences(all, listFaults(tops));
    if (options.paths)
    {
        for (const TreeNode* top : tops)
        {
            printPaths(context.out, *top, options.view, 0);
        }
    }
    else if (context.json)
    {
        writeTrees(context, source, tops, options.view, silences);
    }
    else if (options.problems && tops.empty())
    {
        writeLine(context, "No problems.");
    }
    else
    {
        printTrees(context, tops, options.view);
        writeSilences(context, silences);
    }
}

ExitCode tree(const Context& context, const TreeOptions& options)
{
    if (options.paths && context.json)
    {
        throw Error(ExitCode::usage, "--json excludes --paths; see \"healthctl "
                                     "tree --help\"");
    }
    const auto source = openSourceWithWarning(options.source);
    Faults faults = source->faults();
    const Silences all = options.paths ? Silences() : addNotes(faults, *source);
    const auto trees = buildTrees(source->nodes(), faults);
    const Tops tops = chooseTops(*source, trees, options.root);
    if (options.problems)
    {
        const auto problems = keepNodes(tops, hasProblem);
        writeChosen(context, *source, listTops(problems), options, all);
    }
    else
    {
        writeChosen(context, *source, tops, options, all);
    }
    return ExitCode::ok;
}

constexpr const char* treeHelp =
    "Each node with its health, where that comes from, its faults, and the\n"
    "process that holds it. \"own\": from its own faults or its base health;\n"
    "\"inherited\": from a child; \"both\". \"no parent\" marks a node whose\n"
    "parent has no node.\n"
    "\n"
    "Examples:\n"
    "  healthctl tree\n"
    "  healthctl tree --faults chassis/psu1\n"
    "  healthctl tree --problems --faults\n"
    "  healthctl tree --depth 2 --json";

} // namespace

void addTree(CommandLine& commands)
{
    const auto options = std::make_shared<TreeOptions>();
    CLI::App& command = commands.add({.name = "tree",
                                      .summary = "Draws the health tree.",
                                      .more = treeHelp,
                                      .paged = true},
                                     [options](const Context& context) {
                                         return tree(context, *options);
                                     });
    command
        .add_option("PATH", options->root,
                    "Only this component and what is below it")
        ->type_name("");
    command.add_flag("-f,--faults", options->view.faults,
                     "List the faults below their nodes");
    addNumber(command, "-d,--depth", options->view.depth, {0},
              "How many levels below the topmost node")
        ->type_name("N");
    command.add_flag("-p,--problems", options->problems,
                     "Only what is not OK, and the way to it");
    command.add_flag("--paths", options->paths,
                     "Write only the components, one a line");
    addSourceOption(command, options->source);
}

} // namespace healthintf::healthctl
