#pragma once

/** @file An sd-event loop and its event sources. */

#include <platform/bus_handles.hpp>

#include <systemd/sd-event.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <initializer_list>
#include <memory>

namespace healthintf::services
{

/** One source of events. Its action is called no more after the object is
 *  destroyed. */
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

/** The event loop of this thread. An exception of an action is logged, and the
 *  loop goes on. */
class EventLoop
{
  public:
    /** @throws std::system_error when the loop cannot be created */
    EventLoop();

    /** Runs until exit().
     *
     *  @return the code that was passed to exit() */
    int run();

    void exit(int code);

    /** Ends the loop with 0 on any of these signals, which must not be
     *  handled otherwise. */
    void exitOn(std::initializer_list<int> signals);

    /** Calls @p action when @p fd is readable. The descriptor stays the
     *  caller's, and must outlive the source. */
    [[nodiscard]] EventSource onReadable(int fd, std::function<void()> action);

    /** Calls @p action repeatedly while @p fd is writable and no other event is
     *  pending, until enable() disables it. The descriptor stays the caller's,
     *  and must outlive the source. */
    [[nodiscard]] EventSource onWritable(int fd, std::function<void()> action);

    /** Calls @p action after request(), once for any number of requests. */
    [[nodiscard]] EventSource onRequest(std::function<void()> action);
    static void request(EventSource& source);

    /** Calls @p action after each @p period. */
    [[nodiscard]] EventSource every(std::chrono::microseconds period,
                                    std::function<void()> action);

    /** Calls @p action once, after the delay that after() sets. */
    [[nodiscard]] EventSource onceLater(std::function<void()> action);

    /** Sets a source of onceLater() to call its action after @p delay from now,
     *  in place of any earlier delay. */
    static void after(EventSource& source, std::chrono::microseconds delay);

    /** Enables or disables a source of every() or onWritable(). */
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
