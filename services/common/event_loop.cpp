// SPDX-License-Identifier: Apache-2.0
#include "event_loop.hpp"

#include "line_limit.hpp"
#include "service_log.hpp"

#include <cerrno>
#include <csignal>
#include <system_error>
#include <utility>

namespace healthintf::services
{
namespace
{

/** Limits the lines about actions that throw, which may throw again at each
 *  turn of the loop. */
constinit host::LineLimit failureLines;

int checked(int result, const char* call)
{
    if (result < 0)
    {
        throw std::system_error(-result, std::generic_category(), call);
    }
    return result;
}

/** Blocks signals, so that they come to the loop only. */
void block(std::initializer_list<int> signals)
{
    sigset_t blocked;
    sigemptyset(&blocked);
    for (const int signal : signals)
    {
        sigaddset(&blocked, signal);
    }
    checked(-pthread_sigmask(SIG_BLOCK, &blocked, nullptr), "pthread_sigmask");
}

} // namespace

EventLoop::EventLoop(OnException onException) : onException(onException)
{
    sd_event* raw = nullptr;
    checked(sd_event_default(&raw), "sd_event_default");
    event.reset(raw);
}

int EventLoop::run()
{
    const int code = checked(sd_event_loop(event.get()), "sd_event_loop");
    if (failure)
    {
        std::rethrow_exception(std::exchange(failure, nullptr));
    }
    return code;
}

void EventLoop::perform(const std::function<void()>& action) noexcept
{
    try
    {
        action();
    }
    catch (const std::exception& e)
    {
        if (onException == OnException::endLoop)
        {
            failure = std::current_exception();
            sd_event_exit(event.get(), 0);
        }
        else if (failureLines.admits())
        {
            SERVICE_LOG(log::warning, "EXCEPTION %s.%d.%s: %s", e.what());
        }
    }
}

int EventLoop::callHandler(void* handler) noexcept
{
    const auto* called = static_cast<EventSource::Handler*>(handler);
    called->loop.perform(called->action);
    return 0;
}

EventSource EventLoop::makeSource(std::function<void()> action)
{
    EventSource made;
    made.handler = std::make_unique<EventSource::Handler>(
        EventSource::Handler{*this, std::move(action)});
    return made;
}

void EventLoop::exit(int code)
{
    checked(sd_event_exit(event.get(), code), "sd_event_exit");
}

void EventLoop::exitOn(std::initializer_list<int> signals)
{
    block(signals);
    for (const int signal : signals)
    {
        checked(
            sd_event_add_signal(event.get(), nullptr, signal, nullptr, nullptr),
            "sd_event_add_signal");
    }
}

EventSource EventLoop::onSignal(int number, std::function<void()> action)
{
    block({number});
    EventSource made = makeSource(std::move(action));
    sd_event_source* raw = nullptr;
    checked(sd_event_add_signal(
                event.get(), &raw, number,
                [](sd_event_source*, const signalfd_siginfo*, void* handler) {
                    return callHandler(handler);
                },
                made.handler.get()),
            "sd_event_add_signal");
    made.source.reset(raw);
    return made;
}

int EventLoop::addIo(EventSource& source, int fd, uint32_t events)
{
    sd_event_source* raw = nullptr;
    const int result = sd_event_add_io(
        source.handler->loop.get(), &raw, fd, events,
        [](sd_event_source*, int, uint32_t, void* handler) {
            return callHandler(handler);
        },
        source.handler.get());
    source.source.reset(raw);
    return result;
}

EventSource EventLoop::onIo(int fd, uint32_t events,
                            std::function<void()> action)
{
    EventSource made = makeSource(std::move(action));
    checked(addIo(made, fd, events), "sd_event_add_io");
    return made;
}

EventSource EventLoop::onReadable(int fd, std::function<void()> action)
{
    return onIo(fd, EPOLLIN, std::move(action));
}

EventSource EventLoop::onWritable(int fd, std::function<void()> action)
{
    EventSource made = onIo(fd, EPOLLOUT, std::move(action));
    yield(made);
    return made;
}

EventSource EventLoop::onHangup(int fd, std::function<void()> action)
{
    EventSource made = makeSource(std::move(action));
    // Hangups and errors come even if no event is asked for.
    const int result = addIo(made, fd, 0);
    // The kernel refuses to watch files, which nobody hangs up.
    if (result != -EPERM)
    {
        checked(result, "sd_event_add_io");
    }
    return made;
}

EventSource EventLoop::onRequest(std::function<void()> action)
{
    EventSource made = makeSource(std::move(action));
    sd_event_source* raw = nullptr;
    checked(sd_event_add_defer(
                event.get(), &raw,
                [](sd_event_source*, void* handler) {
                    return callHandler(handler);
                },
                made.handler.get()),
            "sd_event_add_defer");
    made.source.reset(raw);
    checked(sd_event_source_set_enabled(raw, SD_EVENT_OFF),
            "sd_event_source_set_enabled");
    return made;
}

void EventLoop::request(EventSource& source)
{
    checked(sd_event_source_set_enabled(source.source.get(), SD_EVENT_ONESHOT),
            "sd_event_source_set_enabled");
}

void EventLoop::yield(EventSource& source)
{
    checked(sd_event_source_set_priority(source.source.get(),
                                         SD_EVENT_PRIORITY_IDLE),
            "sd_event_source_set_priority");
}

EventSource EventLoop::onTime(std::chrono::microseconds delay, uint64_t slack,
                              std::function<void()> action)
{
    EventSource made = makeSource(std::move(action));
    sd_event_source* raw = nullptr;
    checked(sd_event_add_time_relative(
                event.get(), &raw, CLOCK_MONOTONIC, delay.count(), slack,
                [](sd_event_source*, uint64_t, void* handler) {
                    return callHandler(handler);
                },
                made.handler.get()),
            "sd_event_add_time_relative");
    made.source.reset(raw);
    return made;
}

EventSource EventLoop::every(std::chrono::microseconds period,
                             std::function<void()> action)
{
    // How late a call may be, so that the machine can wake up for several at
    // once.
    const uint64_t slack = 1 + period.count() / 16;
    EventSource made = onTime(period, slack, {});
    sd_event_source* raw = made.source.get();
    checked(sd_event_source_set_enabled(raw, SD_EVENT_ON),
            "sd_event_source_set_enabled");
    // sd-event's timers fire once; the action sets the next.
    made.handler->action = [raw, period, action = std::move(action)] {
        checked(sd_event_source_set_time_relative(raw, period.count()),
                "sd_event_source_set_time_relative");
        action();
    };
    return made;
}

EventSource EventLoop::onceLater(std::function<void()> action)
{
    EventSource made =
        onTime(std::chrono::microseconds::zero(), 1, std::move(action));
    checked(sd_event_source_set_enabled(made.source.get(), SD_EVENT_OFF),
            "sd_event_source_set_enabled");
    return made;
}

void EventLoop::after(EventSource& source, std::chrono::microseconds delay)
{
    sd_event_source* raw = source.source.get();
    checked(sd_event_source_set_time_relative(raw, delay.count()),
            "sd_event_source_set_time_relative");
    checked(sd_event_source_set_enabled(raw, SD_EVENT_ONESHOT),
            "sd_event_source_set_enabled");
}

void EventLoop::enable(EventSource& source, bool enabled)
{
    checked(sd_event_source_set_enabled(source.source.get(),
                                        enabled ? SD_EVENT_ON : SD_EVENT_OFF),
            "sd_event_source_set_enabled");
}

} // namespace healthintf::services
