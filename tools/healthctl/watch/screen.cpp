// SPDX-License-Identifier: Apache-2.0
#include "screen.hpp"

#include "../output/terminal.hpp"
#include "../output/text.hpp"
#include "ending_signals.hpp"

#include <poll.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <optional>
#include <string_view>
#include <vector>

namespace healthintf::healthctl
{
namespace
{

// Control sequences: to change to the other screen and back, to hide and
// show the cursor, to go to the first line, and to clear what is behind.
constexpr const char* otherScreen = "\033[?1049h\033[?25l";
constexpr std::string_view firstScreen = "\033[?25h\033[?1049l";
constexpr const char* home = "\033[H";
constexpr const char* clearLine = "\033[K";
constexpr const char* clearBelow = "\033[J";

// What is to be restored. There is one terminal, and a signal's handler has to
// find it.
/** Whether the terminal shows the other screen. */
constinit bool showsOther = false;
/** How the keyboard was set; nothing when there is none. */
constinit std::optional<termios> keyboard;

/** Whether the terminal takes output, or does so in time. */
bool takesOutput(std::chrono::milliseconds patience)
{
    pollfd terminal{.fd = STDOUT_FILENO, .events = POLLOUT, .revents = 0};
    return poll(&terminal, 1, static_cast<int>(patience.count())) == 1 &&
           terminal.revents == POLLOUT;
}

/** Gives the first screen and the keyboard back. A terminal that is stopped, or
 *  whose reader does not read, keeps nobody waiting for longer than a second.
 *  It does only what a signal's handler may. */
void restoreTerminal()
{
    if (showsOther)
    {
        showsOther = false;
        if (!takesOutput(std::chrono::seconds(1)))
        {
            // What waits there is for the other screen.
            tcflush(STDOUT_FILENO, TCOFLUSH);
        }
        if (takesOutput(std::chrono::milliseconds(0)))
        {
            [[maybe_unused]] const ssize_t written =
                ::write(STDOUT_FILENO, firstScreen.data(), firstScreen.size());
        }
    }
    if (keyboard)
    {
        tcsetattr(STDIN_FILENO, TCSANOW, &*keyboard);
    }
}

using Lines = std::vector<std::string>;
using Offset = Lines::difference_type;

/** The lines of a text without their ends. */
Lines splitLines(const std::string& text)
{
    Lines lines;
    for (std::size_t begin = 0; begin < text.size();)
    {
        const std::size_t end = text.find('\n', begin);
        lines.push_back(text.substr(begin, end - begin));
        begin = end + 1;
    }
    return lines;
}

/** Lines for a screen with other text on it. */
std::string join(const Lines& lines)
{
    std::string text;
    for (const std::string& line : lines)
    {
        text += (text.empty() ? "" : "\n") + line + clearLine;
    }
    return text;
}

/** Says how many lines are below and above those on the screen. */
std::string describeRest(std::size_t below, std::size_t above)
{
    const std::string more = below > 0 ? counted(below, "more line") : "end";
    return above > 0 ? more + ", " + std::to_string(above) + " above" : more;
}

} // namespace

std::string cutPage(const std::string& text, const ScreenSize& size,
                    Scrolling& scrolling)
{
    const Lines lines = splitLines(text);
    if (lines.size() <= size.lines)
    {
        scrolling.fit(lines.size(), lines.size());
        return join(lines);
    }
    // The first line and the one about the rest are always there.
    const std::size_t head = size.lines > 1 ? 1 : 0;
    const std::size_t room = size.lines - std::min(size.lines, head + 1);
    const std::size_t body = lines.size() - head;
    const std::size_t above = scrolling.fit(body, room);
    Lines page(lines.begin(), lines.begin() + static_cast<Offset>(head));
    const auto shown = lines.begin() + static_cast<Offset>(head + above);
    page.insert(page.end(), shown, shown + static_cast<Offset>(room));
    page.push_back(
        beginning(describeRest(body - above - room, above), size.columns));
    return join(page);
}

Screen::Screen(std::ostream& out) : out(out)
{
    take();
}

Screen::~Screen()
{
    giveBack();
}

void Screen::take()
{
    termios settings{};
    if (tcgetattr(STDIN_FILENO, &settings) == 0)
    {
        keyboard = settings;
        settings.c_lflag &= ~static_cast<tcflag_t>(ECHO | ICANON);
        tcsetattr(STDIN_FILENO, TCSANOW, &settings);
    }
    const ImmediateEnd ending(restoreTerminal);
    showsOther = true;
    out << otherScreen << std::flush;
}

void Screen::giveBack()
{
    restoreTerminal();
}

void Screen::draw(const std::string& text, std::size_t columns,
                  Scrolling& scrolling)
{
    const ImmediateEnd ending(restoreTerminal);
    out << home << cutPage(text, {terminalLines(), columns}, scrolling)
        << clearBelow << std::flush;
}

} // namespace healthintf::healthctl
