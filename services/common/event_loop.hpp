#pragma once

/** @file An sd-event loop and what a service hangs on it. */

#include <platform/bus_handles.hpp>

#include <systemd/sd-event.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <initializer_list>
#include <memory>

namespace healthintf::services
{

/** One source of events; what it calls ends with the object. */
class EventSource
{
  public:
    EventSource() = default;

  private:
    friend class EventLoop;

    // Behind a pointer, because sd-event keeps its address.
    std::unique_ptr<std::function<void()>> action;
    EventSourcePtr source;
};

/** The event loop of this thread. An action that throws is logged and the
 *  loop goes on. */
class EventLoop
{
  public:
    /** @throws std::system_error when there can be no loop */
    EventLoop();

    /** Runs until exit().
     *
     *  @return what exit() was given */
    int run();

    void exit(int code);

    /** Ends the loop with 0 on any of these signals, which must not be
     *  handled otherwise. */
    void exitOn(std::initializer_list<int> signals);

    /** Calls @p action when @p fd is readable. The descriptor stays the
     *  caller's, and must outlive the source. */
    [[nodiscard]] EventSource onReadable(int fd, std::function<void()> action);

    /** Calls @p action when @p fd is writable and nothing else waits, again
     *  and again until enable() lets it rest. The descriptor stays the
     *  caller's, and must outlive the source. */
    [[nodiscard]] EventSource onWritable(int fd, std::function<void()> action);

    /** Calls @p action when asked to with request(), once for any number of
     *  requests before. */
    [[nodiscard]] EventSource onRequest(std::function<void()> action);
    static void request(EventSource& source);

    /** Calls @p action again and again, first after one @p period. */
    [[nodiscard]] EventSource every(std::chrono::microseconds period,
                                    std::function<void()> action);

    /** Calls @p action once when the time is up that after() gives. */
    [[nodiscard]] EventSource onceLater(std::function<void()> action);

    /** Lets what onceLater() gave call after @p delay from now on, whatever it
     *  was given before. */
    static void after(EventSource& source, std::chrono::microseconds delay);

    /** Lets what every() or onWritable() gave rest, or call again. */
    static void enable(EventSource& source, bool enabled);

    sd_event* get() const
    {
        return event.get();
    }

  private:
    EventSource onIo(int fd, uint32_t events, std::function<void()> action);

    EventPtr event;
};

} // namespace healthintf::services
