// SPDX-License-Identifier: Apache-2.0
#include "ending_signals.hpp"

#include <atomic>
#include <cstdlib>

namespace healthintf::healthctl
{
namespace
{

/** Whether the parent process wants this one to go on at a signal, as nohup
 *  does. A signal that is blocked would come all the same. */
bool isIgnored(int number)
{
    struct sigaction action
    {};
    return sigaction(number, nullptr, &action) == 0 &&
           action.sa_handler == SIG_IGN;
}

/** What is done before the process ends. */
constinit std::atomic<ImmediateEnd::LastAct> lastAct{nullptr};
static_assert(decltype(lastAct)::is_always_lock_free);

void endProcess(int /*number*/)
{
    lastAct.load()();
    std::_Exit(EXIT_SUCCESS);
}

} // namespace

std::vector<int> listEndingSignals()
{
    std::vector<int> signals;
    for (const int number : {SIGHUP, SIGINT, SIGQUIT, SIGTERM})
    {
        if (!isIgnored(number))
        {
            signals.push_back(number);
        }
    }
    return signals;
}

ImmediateEnd::ImmediateEnd(LastAct act)
{
    lastAct = act;
    sigset_t ending;
    sigemptyset(&ending);
    for (const int number : listEndingSignals())
    {
        // Stays afterwards: the signals are blocked again then.
        std::signal(number, endProcess);
        sigaddset(&ending, number);
    }
    pthread_sigmask(SIG_UNBLOCK, &ending, &before);
}

ImmediateEnd::~ImmediateEnd()
{
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

void endWithReader()
{
    std::signal(SIGPIPE, [](int) {
        std::_Exit(EXIT_SUCCESS);
    });
    sigset_t ending;
    sigemptyset(&ending);
    sigaddset(&ending, SIGPIPE);
    pthread_sigmask(SIG_UNBLOCK, &ending, nullptr);
}

} // namespace healthintf::healthctl
