#include "event_loop.hpp"

#include "../error.hpp"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <utility>

#include <bus_calls.hpp>

namespace healthintf::healthctl
{
namespace
{

using host::checkBus;

/** What the loop ends with when the connection is lost. */
constexpr int busLost = 1;

/** Whether whoever started the program wants it to go on at a signal, as nohup
 *  does. A signal that is blocked would come all the same. */
bool isIgnored(int number)
{
    struct sigaction action
    {};
    return sigaction(number, nullptr, &action) == 0 &&
           action.sa_handler == SIG_IGN;
}

void block(int number)
{
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, number);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
}

/** The connection has left the loop by now, so it comes as the argument. */
int takeLoss(sd_bus_message* /*message*/, void* loop, sd_bus_error* /*error*/)
{
    return sd_event_exit(static_cast<sd_event*>(loop), busLost);
}

} // namespace

EventLoop::EventLoop(sd_bus* bus) : bus(bus)
{
    sd_event* made = nullptr;
    checkBus("sd_event_new", sd_event_new(&made));
    event.reset(made);
    for (const int number : {SIGHUP, SIGINT, SIGQUIT, SIGTERM})
    {
        if (isIgnored(number))
        {
            continue;
        }
        block(number);
        checkBus("sd_event_add_signal",
                 sd_event_add_signal(made, nullptr, number, nullptr, nullptr));
    }
    checkBus("sd_bus_attach_event",
             sd_bus_attach_event(bus, made, SD_EVENT_PRIORITY_NORMAL));
    checkBus("sd_bus_match_signal",
             sd_bus_match_signal(bus, nullptr, "org.freedesktop.DBus.Local",
                                 "/org/freedesktop/DBus/Local",
                                 "org.freedesktop.DBus.Local", "Disconnected",
                                 takeLoss, made));
}

EventLoop::~EventLoop()
{
    sd_bus_detach_event(bus);
}

EventLoop::Handler* EventLoop::keep(Action action)
{
    handlers.push_back(
        std::make_unique<Handler>(Handler{*this, std::move(action)}));
    return handlers.back().get();
}

void EventLoop::perform(const Action& action) noexcept
{
    try
    {
        action();
    }
    catch (...)
    {
        failure = std::current_exception();
        exit();
    }
}

void EventLoop::performHandler(void* handler)
{
    const auto* kept = static_cast<Handler*>(handler);
    kept->loop.perform(kept->action);
}

void EventLoop::onSignal(int number, Action action)
{
    block(number);
    sd_event_source* made = nullptr;
    checkBus("sd_event_add_signal",
             sd_event_add_signal(
                 event.get(), &made, number,
                 [](sd_event_source*, const signalfd_siginfo*, void* handler) {
                     performHandler(handler);
                     return 0;
                 },
                 keep(std::move(action))));
    sources.emplace_back(made);
}

void EventLoop::onReadable(int fd, Action action)
{
    checkBus("sd_event_add_io", addIo(fd, EPOLLIN, std::move(action)));
}

void EventLoop::exitOnHangup(int fd)
{
    // Without any event asked for, those come that cannot be left out. Nobody
    // hangs up a file, which there is no waiting for.
    const int result = addIo(fd, 0, [this] {
        exit();
    });
    if (result != -EPERM)
    {
        checkBus("sd_event_add_io", result);
    }
}

int EventLoop::addIo(int fd, uint32_t events, Action action)
{
    sd_event_source* made = nullptr;
    const int result = sd_event_add_io(
        event.get(), &made, fd, events,
        [](sd_event_source*, int, uint32_t, void* handler) {
            performHandler(handler);
            return 0;
        },
        keep(std::move(action)));
    sources.emplace_back(made);
    return result;
}

void EventLoop::setPaced(std::chrono::microseconds period, Action action)
{
    this->period = period;
    sd_event_source* made = nullptr;
    checkBus("sd_event_add_time",
             sd_event_add_time(
                 event.get(), &made, CLOCK_MONOTONIC, 0, 1,
                 [](sd_event_source*, uint64_t, void* handler) {
                     performHandler(handler);
                     return 0;
                 },
                 keep([this, act = std::move(action)] {
                     paceRequested = false;
                     sd_event_now(event.get(), CLOCK_MONOTONIC, &lastPaced);
                     act();
                 })));
    timer.reset(made);
    checkBus("sd_event_source_set_enabled",
             sd_event_source_set_enabled(made, SD_EVENT_OFF));
}

void EventLoop::requestPaced()
{
    if (std::exchange(paceRequested, true))
    {
        return;
    }
    uint64_t now = 0;
    sd_event_now(event.get(), CLOCK_MONOTONIC, &now);
    const uint64_t due =
        std::max(now, lastPaced + static_cast<uint64_t>(period.count()));
    checkBus("sd_event_source_set_time",
             sd_event_source_set_time(timer.get(), due));
    checkBus("sd_event_source_set_enabled",
             sd_event_source_set_enabled(timer.get(), SD_EVENT_ONESHOT));
}

void EventLoop::run()
{
    const int code = sd_event_loop(event.get());
    checkBus("sd_event_loop", code);
    if (failure)
    {
        std::rethrow_exception(failure);
    }
    if (code == busLost)
    {
        throw Error(ExitCode::unavailable,
                    "the bus is gone; start the command again once it is back");
    }
}

void EventLoop::exit()
{
    sd_event_exit(event.get(), 0);
}

} // namespace healthintf::healthctl
