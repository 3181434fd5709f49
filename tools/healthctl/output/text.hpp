// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Texts on a terminal: how wide they are, and how they fit. Texts are
 *  UTF-8; a byte that is not counts as one character. */

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace healthintf::healthctl
{

/** How many columns a text takes. */
std::size_t countColumns(std::string_view text);

/** The first characters of a text that fit into so many columns. */
std::string beginning(std::string_view text, std::size_t columns);

/** A text of at most so many columns: what is too much is taken out of the
 *  middle, and @p ellipsis stands for it. */
std::string shortened(std::string_view text, std::size_t columns,
                      std::string_view ellipsis);

/** A text in lines of at most so many columns, broken at blanks; a word that is
 *  longer is broken where the line ends. At least one line. A character that is
 *  wider than a line is written as "?"; in no columns each character is a line.
 */
std::vector<std::string> wrapped(std::string_view text, std::size_t columns);

/** How many there are of something, as "1 fault" or "2 faults". */
std::string counted(std::size_t number, const std::string& noun);

} // namespace healthintf::healthctl
