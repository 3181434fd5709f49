// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Scrolls a text that is longer than the screen. */

#include "keys.hpp"

#include <cstddef>

namespace healthintf::healthctl
{

/** Which line of a text is the first one on the screen. */
class Scrolling
{
  public:
    /** Fits to the present text and screen: a text that became shorter is
     *  scrolled back.
     *
     *  @param[in] lines how many the text has
     *  @param[in] room how many the screen has for them
     *  @return the first line to show, counted from 0 */
    std::size_t fit(std::size_t lines, std::size_t room);

    /** Scrolls as far as the text goes that fit() was told. */
    void move(Key key);

  private:
    std::size_t first = 0;
    /** The first line when the last one is on the screen. */
    std::size_t last = 0;
    std::size_t page = 1;
};

} // namespace healthintf::healthctl
