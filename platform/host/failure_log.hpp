// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Keeps failures that last or repeat from filling the log. */

#include "line_limit.hpp"

#include <atomic>

namespace healthintf::host
{

/** Decides which failures of one operation are logged. A failure that repeats
 *  without a success in between is logged once, and all failures together are
 *  limited by LineLimit. Thread-safe. */
class FailureLog
{
  public:
    constexpr explicit FailureLog(LineLimit::Now now = LineLimit::Clock::now) :
        limit(now)
    {}

    /** Whether to log a failure: when it differs from the last logged one or
     *  there was a success since, and LineLimit admits it.
     *
     *  @param[in] code the failure's number, not 0 */
    bool admits(int code) noexcept
    {
        if (last.load() == code || !limit.admits())
        {
            return false;
        }
        return last.exchange(code) != code;
    }

    void noteSuccess() noexcept
    {
        if (last.load(std::memory_order_relaxed) != 0)
        {
            last.store(0);
        }
    }

  private:
    LineLimit limit;
    /** The last logged failure; 0 after a success. */
    std::atomic<int> last{0};
};

} // namespace healthintf::host
