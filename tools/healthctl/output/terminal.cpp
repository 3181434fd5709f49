// SPDX-License-Identifier: Apache-2.0
#include "terminal.hpp"

#include <sys/ioctl.h>

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <charconv>
#include <cstdlib>
#include <string_view>

namespace healthintf::healthctl
{
namespace
{

/** The value of an environment variable; empty when it is not set. */
std::string_view setting(const char* name)
{
    const char* value = std::getenv(name);
    return value != nullptr ? value : "";
}

/** The columns that $COLUMNS tells, or 0. */
std::size_t toldColumns()
{
    const std::string_view text = setting("COLUMNS");
    std::size_t columns = 0;
    std::from_chars(text.data(), text.data() + text.size(), columns);
    return columns;
}

} // namespace

bool wantsColor(ColorChoice choice)
{
    if (choice != ColorChoice::automatic)
    {
        return choice == ColorChoice::always;
    }
    return canDraw() && setting("NO_COLOR").empty();
}

bool canDraw()
{
    return isatty(STDOUT_FILENO) != 0 && setting("TERM") != "dumb";
}

bool hasUnicode()
{
    for (const char* name : {"LC_ALL", "LC_CTYPE", "LANG"})
    {
        std::string locale(setting(name));
        if (!locale.empty())
        {
            std::transform(locale.begin(), locale.end(), locale.begin(),
                           [](unsigned char c) {
                               return std::tolower(c);
                           });
            return locale.find("utf-8") != std::string::npos ||
                   locale.find("utf8") != std::string::npos;
        }
    }
    // A controller seldom has a locale, and its console is a UTF-8 terminal.
    return true;
}

std::optional<std::size_t> terminalWidth()
{
    constexpr std::size_t usual = 80;
    if (isatty(STDOUT_FILENO) == 0)
    {
        return std::nullopt;
    }
    winsize size{};
    std::size_t columns = 0;
    if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0)
    {
        columns = size.ws_col;
    }
    if (columns == 0)
    {
        // A serial line does not know its size.
        columns = toldColumns();
    }
    return columns == 0 ? usual : columns;
}

std::size_t terminalLines()
{
    constexpr std::size_t usual = 24;
    winsize size{};
    return ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_row > 0
               ? size.ws_row
               : usual;
}

} // namespace healthintf::healthctl
