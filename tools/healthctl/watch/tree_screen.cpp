// SPDX-License-Identifier: Apache-2.0
#include "tree_screen.hpp"

#include "../error.hpp"
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
#include <functional>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

namespace healthintf::healthctl
{
namespace
{

constexpr std::chrono::milliseconds drawingPace{100};

/** Any change may change the drawing. */
ChangeHandlers makeHandlers(const std::function<void()>& redraws)
{
    return {.health =
                [redraws](const std::string&, uint32_t) {
                    redraws();
                },
            .faultAdded =
                [redraws](const std::string&, const FaultEntryProperties&) {
                    redraws();
                },
            .faultRemoved =
                [redraws](const std::string&) {
                    redraws();
                },
            .hidden =
                [redraws](const std::string&, bool) {
                    redraws();
                },
            .unsure = redraws};
}

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

/** Draws the tree, or the reason why there is none. */
void drawTree(const Context& context, const TreeView& view)
{
    try
    {
        const auto source = openSource(SourceChoice::automatic);
        const auto trees = buildTrees(source->nodes(), source->faults());
        std::vector<const TreeNode*> tops;
        tops.reserve(trees.size());
        for (const TreeNode& tree : trees)
        {
            tops.push_back(&tree);
        }
        printTrees(context, tops, view);
    }
    catch (const Error& e)
    {
        // The services may start later.
        if (e.code() != ExitCode::unavailable)
        {
            throw;
        }
        writeLine(context, e.what());
    }
}

} // namespace

TreeScreen::TreeScreen(const Context& context, const TreeView& view,
                       sd_bus* bus, services::EventLoop& loop) :
    context(context),
    view(view), loop(loop), drawing(loop, drawingPace,
                                    [this] {
                                        draw();
                                    }),
    changes(bus, makeHandlers([this] {
                drawing.request();
            })),
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
    std::ostringstream text;
    Context page{.out = text,
                 .style = context.style,
                 .width = terminalWidth(),
                 .json = false,
                 .compact = false};
    const auto now = static_cast<uint64_t>(std::time(nullptr));
    writeLine(page, localTime(now) + "  q ends", Tone::faint);
    drawTree(page, view);
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
