#include "event_loop.hpp"

#include "line_limit.hpp"
#include "service_log.hpp"

#include <csignal>
#include <exception>
#include <system_error>
#include <utility>

namespace healthintf::services
{
namespace
{

/** Bounds the lines about failing actions: an action may fail in every
 *  iteration. */
constinit host::LineLimit failureLines;

int checked(int result, const char* call)
{
    if (result < 0)
    {
        throw std::system_error(-result, std::generic_category(), call);
    }
    return result;
}

/** Runs an action and logs its exceptions, which must not reach the loop in
 *  C. */
void perform(void* action) noexcept
{
    try
    {
        (*static_cast<std::function<void()>*>(action))();
    }
    catch (const std::exception& e)
    {
        if (failureLines.admits())
        {
            SERVICE_LOG(log::warning, "EXCEPTION %s.%d.%s: %s", e.what());
        }
    }
}

int performForIo(sd_event_source* /*source*/, int /*fd*/, uint32_t /*events*/,
                 void* action)
{
    perform(action);
    return 0;
}

int onDefer(sd_event_source* /*source*/, void* action)
{
    perform(action);
    return 0;
}

int onTime(sd_event_source* /*source*/, uint64_t /*due*/, void* action)
{
    perform(action);
    return 0;
}

} // namespace

EventLoop::EventLoop()
{
    sd_event* raw = nullptr;
    checked(sd_event_default(&raw), "sd_event_default");
    event.reset(raw);
}

int EventLoop::run()
{
    return checked(sd_event_loop(event.get()), "sd_event_loop");
}

void EventLoop::exit(int code)
{
    checked(sd_event_exit(event.get(), code), "sd_event_exit");
}

void EventLoop::exitOn(std::initializer_list<int> signals)
{
    sigset_t blocked;
    sigemptyset(&blocked);
    for (const int signal : signals)
    {
        sigaddset(&blocked, signal);
    }
    checked(-pthread_sigmask(SIG_BLOCK, &blocked, nullptr), "pthread_sigmask");
    for (const int signal : signals)
    {
        checked(
            sd_event_add_signal(event.get(), nullptr, signal, nullptr, nullptr),
            "sd_event_add_signal");
    }
}

EventSource EventLoop::onIo(int fd, uint32_t events,
                            std::function<void()> action)
{
    EventSource made;
    made.action = std::make_unique<std::function<void()>>(std::move(action));
    sd_event_source* raw = nullptr;
    checked(sd_event_add_io(event.get(), &raw, fd, events, performForIo,
                            made.action.get()),
            "sd_event_add_io");
    made.source.reset(raw);
    return made;
}

EventSource EventLoop::onReadable(int fd, std::function<void()> action)
{
    return onIo(fd, EPOLLIN, std::move(action));
}

EventSource EventLoop::onWritable(int fd, std::function<void()> action)
{
    EventSource made = onIo(fd, EPOLLOUT, std::move(action));
    checked(
        sd_event_source_set_priority(made.source.get(), SD_EVENT_PRIORITY_IDLE),
        "sd_event_source_set_priority");
    return made;
}

EventSource EventLoop::onRequest(std::function<void()> action)
{
    EventSource made;
    made.action = std::make_unique<std::function<void()>>(std::move(action));
    sd_event_source* raw = nullptr;
    checked(sd_event_add_defer(event.get(), &raw, onDefer, made.action.get()),
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

EventSource EventLoop::every(std::chrono::microseconds period,
                             std::function<void()> action)
{
    // sd-event's timers fire once; the action sets the next.
    EventSource made;
    made.action = std::make_unique<std::function<void()>>();
    sd_event_source* raw = nullptr;
    // How late a call may be, so that the machine can wake up once for several
    // timers.
    const uint64_t slack = 1 + period.count() / 16;
    checked(sd_event_add_time_relative(event.get(), &raw, CLOCK_MONOTONIC,
                                       period.count(), slack, onTime,
                                       made.action.get()),
            "sd_event_add_time_relative");
    made.source.reset(raw);
    checked(sd_event_source_set_enabled(raw, SD_EVENT_ON),
            "sd_event_source_set_enabled");
    *made.action = [raw, period, action = std::move(action)] {
        checked(sd_event_source_set_time_relative(raw, period.count()),
                "sd_event_source_set_time_relative");
        action();
    };
    return made;
}

EventSource EventLoop::onceLater(std::function<void()> action)
{
    EventSource made;
    made.action = std::make_unique<std::function<void()>>(std::move(action));
    sd_event_source* raw = nullptr;
    checked(sd_event_add_time(event.get(), &raw, CLOCK_MONOTONIC, 0, 1, onTime,
                              made.action.get()),
            "sd_event_add_time");
    made.source.reset(raw);
    checked(sd_event_source_set_enabled(raw, SD_EVENT_OFF),
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
