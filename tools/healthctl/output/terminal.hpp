// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file What the terminal on standard output can do. */

#include <cstddef>
#include <optional>
#include <string>

namespace healthintf::healthctl
{

/** When text is coloured. */
enum class ColorChoice
{
    automatic,
    always,
    never,
};

/** Whether text on standard output is coloured: as chosen, else on a terminal
 *  that knows colours and unless $NO_COLOR is set. */
bool wantsColor(ColorChoice choice);

/** Whether standard output is a terminal that obeys control sequences. */
bool canDraw();

/** Whether the locale has more characters than ASCII. */
bool hasUnicode();

/** How many columns the terminal on standard output has; nothing when it is
 *  none, as in a pipe. */
std::optional<std::size_t> terminalWidth();

/** How many lines the terminal on standard output has; 24 when it does not
 *  know. */
std::size_t terminalLines();

} // namespace healthintf::healthctl
