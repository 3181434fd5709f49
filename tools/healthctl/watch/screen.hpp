// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Draws on the terminal again and again. */

#include "scrolling.hpp"

#include <cstddef>
#include <ostream>
#include <string>

namespace healthintf::healthctl
{

/** The size of a screen. */
struct ScreenSize
{
    std::size_t lines;
    std::size_t columns;
};

/** The part of a text that fits onto a screen: its first line, as many others
 *  as there is room for, each from the screen's left edge, and if that is not
 *  all, a last line that says so.
 *
 *  @param[in] text lines that are no wider than the screen
 *  @param[in,out] scrolling where the part begins */
std::string cutPage(const std::string& text, const ScreenSize& size,
                    Scrolling& scrolling);

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
     *  @param[in] columns the width of the terminal
     *  @param[in,out] scrolling which part is drawn */
    void draw(const std::string& text, std::size_t columns,
              Scrolling& scrolling);

  private:
    std::ostream& out;
};

} // namespace healthintf::healthctl
