#pragma once

/** @file Keeps signals away from calls that wait for the bus: libsystemd gives
 *  up with EINTR when one is handled meanwhile, although the bus has done what
 *  it was asked to. */

#include <csignal>
#include <initializer_list>

namespace healthintf
{

/** While it lives, signals to its thread wait, but for those that tell of a
 *  fault in the thread itself. */
class HeldSignals
{
  public:
    HeldSignals()
    {
        sigset_t held;
        sigfillset(&held);
        for (const int fault :
             {SIGABRT, SIGBUS, SIGFPE, SIGILL, SIGSEGV, SIGSYS, SIGTRAP})
        {
            sigdelset(&held, fault);
        }
        pthread_sigmask(SIG_BLOCK, &held, &before);
    }

    ~HeldSignals()
    {
        pthread_sigmask(SIG_SETMASK, &before, nullptr);
    }

    HeldSignals(const HeldSignals&) = delete;
    HeldSignals& operator=(const HeldSignals&) = delete;

  private:
    sigset_t before{};
};

} // namespace healthintf
