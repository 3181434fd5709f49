#pragma once

/** @file Keeps a failure that lasts from filling the log. */

#include <atomic>

namespace healthintf::host
{

/** Remembers the failure that was logged last. Thread-safe. */
class OnceInARow
{
  public:
    /** Whether a failure is to be logged: it is another one than the last, or
     *  there was a success in between.
     *
     *  @param[in] code the failure's number, not 0 */
    bool isNews(int code) noexcept
    {
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
    std::atomic<int> last{0};
};

} // namespace healthintf::host
