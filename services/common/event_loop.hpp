// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file An sd-event loop and the actions that it calls. */

#include <platform/bus_handles.hpp>

#include <systemd/sd-event.h>

#include <chrono>
#include <cstdint>
#include <exception>
#include <functional>
#include <initializer_list>
#include <memory>

namespace healthintf::services
{

class EventLoop;

/** A source of events. Its action is not called after the object is gone. */
class EventSource
{
  public:
    EventSource() = default;

  private:
    friend class EventLoop;

    /** An action and the loop that calls it. */
    struct Handler
    {
        EventLoop& loop;
        std::function<void()> action;
    };

    // Behind a pointer, because sd-event keeps its address.
    std::unique_ptr<Handler> handler;
    EventSourcePtr source;
};

/** What a loop does with an exception that leaves an action. */
enum class OnException
{
    /** It logs the exception and goes on. */
    log,
    /** It ends, and run() throws the exception. */
    endLoop,
};

/** The event loop of this thread. */
class EventLoop
{
  public:
    /** @throws std::system_error when there can be no loop */
    explicit EventLoop(OnException onException = OnException::log);
    EventLoop(const EventLoop&) = delete;
    EventLoop& operator=(const EventLoop&) = delete;

    /** Runs until exit().
     *
     *  @return what exit() was given
     *  @throws std::system_error when the loop fails; or what an action threw,
     *          with OnException::endLoop */
    int run();

    void exit(int code);

    /** Ends the loop with 0 on any of these signals, which must not be
     *  handled otherwise. */
    void exitOn(std::initializer_list<int> signals);

    /** Calls @p action at each signal of this number, which must not be
     *  handled otherwise. */
    [[nodiscard]] EventSource onSignal(int number,
                                       std::function<void()> action);

    /** Calls @p action when @p fd is readable. The descriptor stays the
     *  caller's, and must outlive the source. */
    [[nodiscard]] EventSource onReadable(int fd, std::function<void()> action);

    /** Calls @p action when @p fd is writable and nothing else waits, again
     *  and again until enable() lets it rest. The descriptor stays the
     *  caller's, and must outlive the source. */
    [[nodiscard]] EventSource onWritable(int fd, std::function<void()> action);

    /** Calls @p action when nobody has the other end of a pipe, socket or
     *  terminal any more; never for a file. The descriptor stays the caller's,
     *  and must outlive the source. */
    [[nodiscard]] EventSource onHangup(int fd, std::function<void()> action);

    /** Calls @p action when asked to with request(), once for any number of
     *  requests before. */
    [[nodiscard]] EventSource onRequest(std::function<void()> action);
    static void request(EventSource& source);

    /** Lets a source call only when nothing else waits. */
    static void yield(EventSource& source);

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

    /** Calls an action for a C callback that the loop has called, and handles
     *  an exception as one of the loop's own actions. */
    void perform(const std::function<void()>& action) noexcept;

    sd_event* get() const
    {
        return event.get();
    }

  private:
    EventSource makeSource(std::function<void()> action);
    static int callHandler(void* handler) noexcept;
    static int addIo(EventSource& source, int fd, uint32_t events);
    EventSource onIo(int fd, uint32_t events, std::function<void()> action);
    EventSource onTime(std::chrono::microseconds delay, uint64_t slack,
                       std::function<void()> action);

    EventPtr event;
    OnException onException;
    std::exception_ptr failure;
};

} // namespace healthintf::services
