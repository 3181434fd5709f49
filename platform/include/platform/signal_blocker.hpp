// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Blocks signals during calls on the bus: libsystemd returns EINTR when
 *  a signal is handled while it waits for the reply, although the bus has done
 *  what it was asked to. */

#include <csignal>
#include <initializer_list>

namespace healthintf
{

/** Blocks all signals to this thread until it goes out of scope, except those
 *  that a fault of the thread itself raises. */
class SignalBlocker
{
  public:
    SignalBlocker()
    {
        sigset_t blocked;
        sigfillset(&blocked);
        for (const int fault :
             {SIGABRT, SIGBUS, SIGFPE, SIGILL, SIGSEGV, SIGSYS, SIGTRAP})
        {
            sigdelset(&blocked, fault);
        }
        pthread_sigmask(SIG_BLOCK, &blocked, &before);
    }

    ~SignalBlocker()
    {
        pthread_sigmask(SIG_SETMASK, &before, nullptr);
    }

    SignalBlocker(const SignalBlocker&) = delete;
    SignalBlocker& operator=(const SignalBlocker&) = delete;

  private:
    sigset_t before{};
};

} // namespace healthintf
