// SPDX-License-Identifier: Apache-2.0
#include "tree_screen.hpp"

#include "../model/tree_choice.hpp"
#include "../output/line_output.hpp"
#include "../output/silence_output.hpp"
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

/** All trees that are known. */
std::vector<TreeNode> buildTrees(const WatchedTree& known,
                                 const NoteFollower& notes)
{
    Faults faults;
    for (const auto& [path, fault] : known.faults())
    {
        faults.push_back({path, FaultEntry_gen(fault.properties)});
    }
    notes.note(faults);
    return buildTrees(known.nodes(), faults);
}

/** Draws the tree, or the reason why there is none. */
void drawTree(const Context& context, const TreeView& view,
              const WatchFilter& filter, const TreeFollower& follower,
              const NoteFollower& notes)
{
    const WatchedTree& known = follower.tree();
    const auto trees = chooseTrees(buildTrees(known, notes), filter);
    if (trees.empty() && known.nodes().empty() && !follower.nothing().empty())
    {
        // The services may start later.
        writeLine(context, follower.nothing());
        return;
    }
    if (trees.empty())
    {
        writeLine(context, "No such components.");
    }
    if (const SilentProcesses unknown = listSilent(known); !unknown.empty())
    {
        writeLine(context, describeMissing(unknown), Tone::warning);
    }
    const auto tops = listTops(trees);
    printTrees(context, tops, view);
    writeSilences(context, chooseSilences(notes.silences(), listFaults(tops)));
}

} // namespace

TreeScreen::TreeScreen(const Context& context, const TreeView& view,
                       const WatchFilter& filter, sd_bus* bus,
                       services::EventLoop& loop) :
    context(context),
    view(view), filter(filter), loop(loop), drawing(loop, drawingPace,
                                                    [this] {
                                                        draw();
                                                    }),
    notes(bus, loop,
          [this] {
              // The first drawing waits for the answers.
              if (drawn != Clock::time_point())
              {
                  drawing.request();
              }
          }),
    follower(
        bus, loop,
        [this](const Changes& changes) {
            notes.take(changes);
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
    notes.await();
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
    writeLine(page, localTime(now) + "  q ends, arrow keys scroll",
              Tone::faint);
    drawTree(page, view, filter, follower, notes);
    screen.draw(text.str(), page.width.value_or(std::string::npos), scrolling);
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
    std::array<char, 64> bytes{};
    const ssize_t count = read(STDIN_FILENO, bytes.data(), bytes.size());
    if (count <= 0)
    {
        loop.exit(0);
        return;
    }
    for (const Key key :
         keys.take({bytes.data(), static_cast<std::size_t>(count)}))
    {
        if (key == Key::quit)
        {
            loop.exit(0);
        }
        scrolling.move(key);
        drawing.request();
    }
}

} // namespace healthintf::healthctl
