// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Shows long output with a program that scrolls it. */

#include <cstddef>
#include <ostream>
#include <string>

namespace healthintf::healthctl
{

/** The command of the pager: $HEALTHCTL_PAGER, else $PAGER, else "less". Empty
 *  for none, which "cat" means, too, or when standard output is no terminal
 *  that this process may draw upon. */
std::string choosePager();

/** Shows a text: with the pager if it has more lines than the screen, else by
 *  writing it to @p out. A pager that ends early is no error, and when there is
 *  no such program the text is written to @p out as well.
 *
 *  @param[in] pager a command for the shell; empty for none
 *  @param[in] lines how many the screen has */
void showPaged(const std::string& text, const std::string& pager,
               std::size_t lines, std::ostream& out);

} // namespace healthintf::healthctl
