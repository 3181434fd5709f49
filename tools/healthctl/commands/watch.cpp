// SPDX-License-Identifier: Apache-2.0
#include "watch.hpp"

#include "../numbers.hpp"
#include "../output/terminal.hpp"
#include "../watch/line_watcher.hpp"
#include "../watch/tree_screen.hpp"
#include "../watch/watch_loop.hpp"

#include <memory>

#include <bus_calls.hpp>

namespace healthintf::healthctl
{
namespace
{

constexpr const char* watchHelp =
    "On a terminal the tree is drawn anew when it changes; q or Ctrl-C ends "
    "it.\n"
    "Elsewhere, and with --json, there is a JSON object a line for each "
    "change:\n"
    "first \"begin\", after which no change is missed, then \"health\",\n"
    "\"node-added\", \"node-removed\", \"fault-added\", \"fault-removed\",\n"
    "\"fault-hidden\" and \"fault-shown\".\n"
    "\n"
    "Examples:\n"
    "  healthctl watch --faults\n"
    "  healthctl watch --json\n"
    "  healthctl watch | jq 'select(.change == \"fault-added\").fault.message'";

ExitCode watch(const Context& context, const TreeView& view)
{
    const auto operators = connectBus();
    const BusPtr bus = host::openDefaultBus();
    WatchLoop loop(bus.get());
    if (context.json || !canDraw())
    {
        const LineWatcher lines(context, bus.get(), loop.events());
        loop.run();
    }
    else
    {
        const TreeScreen screen(context, view, bus.get(), loop.events());
        loop.run();
    }
    return ExitCode::ok;
}

} // namespace

void addWatch(CommandLine& commands)
{
    const auto view = std::make_shared<TreeView>();
    CLI::App& command =
        commands.add({.name = "watch",
                      .summary = "Shows the health tree as it changes.",
                      .more = watchHelp},
                     [view](const Context& context) {
                         return watch(context, *view);
                     });
    command.add_flag("-f,--faults", view->faults,
                     "List the faults below their nodes");
    addNumber(command, "-d,--depth", view->depth, {0},
              "How many levels below the topmost node")
        ->type_name("N");
}

} // namespace healthintf::healthctl
