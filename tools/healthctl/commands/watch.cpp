// SPDX-License-Identifier: Apache-2.0
#include "watch.hpp"

#include "../model/component.hpp"
#include "../numbers.hpp"
#include "../output/terminal.hpp"
#include "../watch/line_watcher.hpp"
#include "../watch/tree_screen.hpp"
#include "../watch/watch_filter.hpp"
#include "../watch/watch_loop.hpp"
#include "arguments.hpp"

#include <memory>
#include <string>

#include <bus_calls.hpp>

namespace healthintf::healthctl
{
namespace
{

constexpr const char* watchHelp =
    "On a terminal the tree is drawn anew when it changes; arrow keys, Page Up "
    "and\n"
    "Page Down, Home and End scroll it, and q or Ctrl-C ends it. Elsewhere, "
    "and "
    "with\n"
    "--lines, there is a line for each change. With --json it is an object: "
    "first\n"
    "\"begin\", after which no change is missed, then \"health\", "
    "\"node-added\",\n"
    "\"node-removed\", \"fault-added\", \"fault-removed\", "
    "\"fault-hidden\",\n"
    "\"fault-shown\", \"process-silent\", \"process-silent-ended\", "
    "\"acknowledged\",\n"
    "\"withdrawn\", \"silenced\" and \"silence-ended\".\n"
    "\n"
    "Examples:\n"
    "  healthctl watch --faults\n"
    "  healthctl watch chassis --severity critical\n"
    "  healthctl watch | tee changes.txt\n"
    "  healthctl watch --json | jq 'select(.change == "
    "\"fault-added\").fault.message'";

struct WatchOptions
{
    std::string component;
    bool lines = false;
    TreeView view;
    WatchFilter filter;
};

WatchFilter makeFilter(const WatchOptions& options)
{
    WatchFilter filter = options.filter;
    if (!options.component.empty())
    {
        filter.key = parseKey(options.component);
    }
    return filter;
}

ExitCode watch(const Context& context, const WatchOptions& options)
{
    const WatchFilter filter = makeFilter(options);
    const auto operators = connectBus();
    const BusPtr bus = host::openDefaultBus();
    WatchLoop loop(bus.get());
    if (context.json || options.lines || !canDraw())
    {
        const LineWatcher lines(context, filter, bus.get(), loop.events());
        loop.run();
    }
    else
    {
        const TreeScreen screen(context, options.view, filter, bus.get(),
                                loop.events());
        loop.run();
    }
    return ExitCode::ok;
}

} // namespace

void addWatch(CommandLine& commands)
{
    const auto options = std::make_shared<WatchOptions>();
    CLI::App& command =
        commands.add({.name = "watch",
                      .summary = "Shows the health tree as it changes.",
                      .more = watchHelp},
                     [options](const Context& context) {
                         return watch(context, *options);
                     });
    command
        .add_option("PATH", options->component,
                    "Only this component and what is below it")
        ->type_name("");
    addSeverities(command, options->filter.severities);
    command.add_flag("-l,--lines", options->lines,
                     "A line for each change, also on a terminal");
    command.add_flag("-f,--faults", options->view.faults,
                     "List the faults below their nodes");
    addNumber(command, "-d,--depth", options->view.depth, {0},
              "How many levels below the topmost node")
        ->type_name("N");
}

} // namespace healthintf::healthctl
