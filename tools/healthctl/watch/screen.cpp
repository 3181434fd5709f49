// SPDX-License-Identifier: Apache-2.0
#include "screen.hpp"

#include "../output/text.hpp"
#include "ending_signals.hpp"

#include <sys/ioctl.h>

#include <poll.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <optional>
#include <string_view>

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

std::size_t terminalLines()
{
    constexpr std::size_t usual = 24;
    winsize size{};
    return ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_row > 0
               ? size.ws_row
               : usual;
}

} // namespace

std::string cutPage(const std::string& text, std::size_t lines,
                    std::size_t columns)
{
    const auto total = static_cast<std::size_t>(std::ranges::count(text, '\n'));
    const bool fits = total <= lines;
    const std::size_t shown =
        fits ? total : std::max<std::size_t>(lines, 1) - 1;
    std::string page;
    std::size_t begin = 0;
    for (std::size_t line = 0; line < shown; ++line)
    {
        const std::size_t end = text.find('\n', begin);
        page += (line == 0 ? "" : "\n") + text.substr(begin, end - begin) +
                clearLine;
        begin = end + 1;
    }
    if (!fits)
    {
        page +=
            (shown == 0 ? "" : "\n") +
            beginning(std::to_string(total - shown) + " more lines", columns) +
            clearLine;
    }
    return page;
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

void Screen::draw(const std::string& text, std::size_t columns)
{
    const ImmediateEnd ending(restoreTerminal);
    out << home << cutPage(text, terminalLines(), columns) << clearBelow
        << std::flush;
}

} // namespace healthintf::healthctl
