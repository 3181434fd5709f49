#pragma once

/** @file Keeps failures that last, or come again and again, from filling the
 *  log. */

#include "line_limit.hpp"

#include <atomic>

namespace healthintf::host
{

/** Decides which failures of one kind of work are logged: one that lasts only
 *  once, and all of them together no more than LineLimit lets through.
 *  Thread-safe. */
class FailureLog
{
  public:
    constexpr explicit FailureLog(LineLimit::Now now = LineLimit::Clock::now) :
        limit(now)
    {}

    /** Whether a failure is to be logged: it is another one than was logged
     *  last, or there was a success in between, and there were not too many.
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
    /** The failure that was logged last, if it may last still. */
    std::atomic<int> last{0};
};

} // namespace healthintf::host
