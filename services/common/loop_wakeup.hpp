// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Wakes the event loop from other threads. */

namespace healthintf::services
{

/** A descriptor that is readable from wake() on until reset(). */
class LoopWakeup
{
  public:
    /** @throws std::system_error when the system gives no descriptor */
    LoopWakeup();
    ~LoopWakeup();
    LoopWakeup(const LoopWakeup&) = delete;
    LoopWakeup& operator=(const LoopWakeup&) = delete;

    /** May be called from any thread. */
    void wake() const;
    void reset() const;

    int descriptor() const
    {
        return fd;
    }

  private:
    int fd;
};

} // namespace healthintf::services
