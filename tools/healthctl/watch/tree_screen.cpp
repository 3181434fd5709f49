// SPDX-License-Identifier: Apache-2.0
#include "tree_screen.hpp"

#include "../model/health_tree.hpp"
#include "../output/line_output.hpp"
#include "../output/terminal.hpp"
#include "../output/time_text.hpp"
#include "../source/health_source.hpp"

#include <unistd.h>

#include <array>
#include <chrono>
#include <csignal>
#include <ctime>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

namespace healthintf::healthctl
{
namespace
{

constexpr std::chrono::milliseconds drawingPace{100};

/** Stops the process as SIGTSTP does by default; returns when it is
 *  continued. */
void stopProcess()
{
    sigset_t stop;
    sigemptyset(&stop);
    sigaddset(&stop, SIGTSTP);
    raise(SIGTSTP);
    pthread_sigmask(SIG_UNBLOCK, &stop, nullptr);
    pthread_sigmask(SIG_BLOCK, &stop, nullptr);
}

/** Of the silent processes those of which nothing is known. */
SilentProcesses listSilent(const WatchedTree& tree)
{
    SilentProcesses unknown = tree.silent();
    for (const auto& [key, node] : tree.nodes())
    {
        unknown.erase(node.connection);
    }
    return unknown;
}

/** Draws the tree, or the reason why there is none. */
void drawTree(const Context& context, const TreeView& view,
              const TreeFollower& follower)
{
    const WatchedTree& known = follower.tree();
    Faults faults;
    for (const auto& [path, fault] : known.faults())
    {
        faults.push_back({path, FaultEntry_gen(fault.properties)});
    }
    const auto trees = buildTrees(known.nodes(), faults);
    std::vector<const TreeNode*> tops;
    tops.reserve(trees.size());
    for (const TreeNode& tree : trees)
    {
        tops.push_back(&tree);
    }
    if (tops.empty() && !follower.nothing().empty())
    {
        // The services may start later.
        writeLine(context, follower.nothing());
        return;
    }
    if (const SilentProcesses unknown = listSilent(known); !unknown.empty())
    {
        writeLine(context, describeMissing(unknown), Tone::warning);
    }
    printTrees(context, tops, view);
}

} // namespace

TreeScreen::TreeScreen(const Context& context, const TreeView& view,
                       sd_bus* bus, services::EventLoop& loop) :
    context(context),
    view(view), loop(loop), drawing(loop, drawingPace,
                                    [this] {
                                        draw();
                                    }),
    follower(
        bus, loop,
        [this](const Changes& /*changes*/) {
            due = true;
            drawing.request();
        },
        [this] {
            if (due && Clock::now() - drawn >= drawingPace)
            {
                draw();
            }
        }),
    screen(context.out)
{
    sources.push_back(loop.onSignal(SIGWINCH, [this] {
        drawing.request();
    }));
    sources.push_back(loop.onSignal(SIGTSTP, [this] {
        pause();
    }));
    if (isatty(STDIN_FILENO) != 0)
    {
        sources.push_back(loop.onReadable(STDIN_FILENO, [this] {
            takeKeys();
        }));
    }
    draw();
}

void TreeScreen::draw()
{
    due = false;
    drawn = Clock::now();
    std::ostringstream text;
    Context page{.out = text,
                 .style = context.style,
                 .width = terminalWidth(),
                 .json = false,
                 .compact = false};
    const auto now = static_cast<uint64_t>(std::time(nullptr));
    writeLine(page, localTime(now) + "  q ends", Tone::faint);
    drawTree(page, view, follower);
    screen.draw(text.str(), page.width.value_or(std::string::npos));
}

void TreeScreen::pause()
{
    screen.giveBack();
    stopProcess();
    screen.take();
    draw();
}

void TreeScreen::takeKeys()
{
    std::array<char, 64> keys{};
    const ssize_t count = read(STDIN_FILENO, keys.data(), keys.size());
    const std::string_view typed(
        keys.data(), count > 0 ? static_cast<std::size_t>(count) : 0);
    if (typed.empty() || typed.find('q') != std::string_view::npos)
    {
        loop.exit(0);
    }
}

} // namespace healthintf::healthctl
