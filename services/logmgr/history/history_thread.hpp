// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Runs the history beside the System Event Log. */

#include "../../common/loop_wakeup.hpp"
#include "history_limits.hpp"

#include <filesystem>
#include <thread>

namespace healthintf::history
{

/** Keeps the history in a thread with an event loop of its own: neither a storm
 *  of faults nor the disk under it delays an event, and nothing that happens to
 *  the history ends the log. */
class HistoryThread
{
  public:
    /** Begins. The signals that end the process must be blocked already. */
    HistoryThread(const std::filesystem::path& folder,
                  const HistoryLimits& limits);

    /** Ends, when all that was heard is on the disk. */
    ~HistoryThread();
    HistoryThread(const HistoryThread&) = delete;
    HistoryThread& operator=(const HistoryThread&) = delete;

  private:
    void run(const std::filesystem::path& folder,
             const HistoryLimits& limits) noexcept;

    services::LoopWakeup end;
    std::thread thread;
};

} // namespace healthintf::history
