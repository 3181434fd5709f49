// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Draws on the terminal again and again. */

#include <cstddef>
#include <ostream>
#include <string>

namespace healthintf::healthctl
{

/** The part of a text that fits onto a screen: the first lines, each from the
 *  screen's left edge, and if there are more, a last one that says so.
 *
 *  @param[in] text lines that are no wider than the screen
 *  @param[in] lines how many the screen has
 *  @param[in] columns how wide it is */
std::string cutPage(const std::string& text, std::size_t lines,
                    std::size_t columns);

/** Takes the terminal's other screen, and gives the first one back with all
 *  that stood there. What is typed meanwhile is not shown. A signal that ends
 *  the command does so too while the terminal lets it wait. */
class Screen
{
  public:
    explicit Screen(std::ostream& out);
    ~Screen();
    Screen(const Screen&) = delete;
    Screen& operator=(const Screen&) = delete;

    /** Take and give back the screen as constructor and destructor do. */
    void take();
    static void giveBack();

    /** Draws a text in the place of what was drawn before.
     *
     *  @param[in] columns the width of the terminal */
    void draw(const std::string& text, std::size_t columns);

  private:
    std::ostream& out;
};

} // namespace healthintf::healthctl
