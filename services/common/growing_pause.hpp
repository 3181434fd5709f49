// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file How long to wait after a failure. */

#include <algorithm>
#include <chrono>

namespace healthintf::services
{

/** The pauses between failed attempts: each is twice as long as the one before,
 *  up to a limit. */
class GrowingPause
{
  public:
    using Duration = std::chrono::milliseconds;

    /** @param[in] shortest the first pause, more than 0
     *  @param[in] longest no pause is longer */
    constexpr explicit GrowingPause(
        Duration shortest = std::chrono::milliseconds(10),
        Duration longest = std::chrono::seconds(10)) :
        shortest(shortest),
        longest(longest), upcoming(shortest)
    {}

    /** The pause after one more failure. */
    constexpr Duration next()
    {
        const Duration pause = upcoming;
        upcoming = std::min(upcoming * 2, longest);
        return pause;
    }

    /** Starts again with the shortest pause, after a success. */
    constexpr void reset()
    {
        upcoming = shortest;
    }

  private:
    Duration shortest;
    Duration longest;
    Duration upcoming;
};

} // namespace healthintf::services
