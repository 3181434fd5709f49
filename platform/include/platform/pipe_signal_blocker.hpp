// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Keeps a write to a pipe whose reader has ended from ending the
 *  process. */

#include <csignal>
#include <ctime>

namespace healthintf
{

/** Keeps SIGPIPE from this thread until it goes out of scope. */
class PipeSignalBlocker
{
  public:
    PipeSignalBlocker()
    {
        sigset_t waiting;
        sigpending(&waiting);
        wasWaiting = sigismember(&waiting, SIGPIPE) == 1;
        sigemptyset(&signals);
        sigaddset(&signals, SIGPIPE);
        pthread_sigmask(SIG_BLOCK, &signals, &before);
    }

    ~PipeSignalBlocker()
    {
        pthread_sigmask(SIG_SETMASK, &before, nullptr);
    }

    PipeSignalBlocker(const PipeSignalBlocker&) = delete;
    PipeSignalBlocker& operator=(const PipeSignalBlocker&) = delete;

    /** Drops the signal of a write that has not written all, and no earlier
     *  one. */
    void drop() const
    {
        constexpr timespec now{};
        if (!wasWaiting)
        {
            sigtimedwait(&signals, nullptr, &now);
        }
    }

  private:
    sigset_t signals{};
    sigset_t before{};
    bool wasWaiting = false;
};

} // namespace healthintf
