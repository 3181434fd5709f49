#pragma once

/** @file The loop of a command that goes on until it is told to end. */

#include <platform/bus_handles.hpp>

#include <systemd/sd-bus.h>
#include <systemd/sd-event.h>

#include <chrono>
#include <cstdint>
#include <exception>
#include <functional>
#include <memory>
#include <vector>

namespace healthintf::healthctl
{

/** An sd-event loop with a connection to the bus. What its actions throw ends
 *  it and comes out of run(). */
class EventLoop
{
  public:
    using Action = std::function<void()>;

    /** SIGHUP, SIGINT, SIGQUIT and SIGTERM end the loop, but for those that
     *  are ignored.
     *
     *  @param[in] bus must outlive this object */
    explicit EventLoop(sd_bus* bus);
    ~EventLoop();
    EventLoop(const EventLoop&) = delete;
    EventLoop& operator=(const EventLoop&) = delete;

    /** Calls @p action at each signal of this number. */
    void onSignal(int number, Action action);

    /** Calls @p action when a descriptor is readable. */
    void onReadable(int fd, Action action);

    /** Ends the loop when nobody has the other end of a pipe, socket or
     *  terminal any more. */
    void exitOnHangup(int fd);

    /** Calls @p action soon after requestPaced(), once for any number of
     *  requests, and never more often than once in a @p period. */
    void setPaced(std::chrono::microseconds period, Action action);
    void requestPaced();

    /** Runs an action of somebody else's callback. */
    void perform(const Action& action) noexcept;

    /** Runs until exit() or a signal.
     *
     *  @throws Error when the bus is lost; or what an action threw */
    void run();

    void exit();

  private:
    /** An action with its way back to the loop. */
    struct Handler
    {
        EventLoop& loop;
        Action action;
    };

    int addIo(int fd, uint32_t events, Action action);
    static void performHandler(void* handler);
    Handler* keep(Action action);

    sd_bus* bus;
    EventPtr event;
    std::vector<std::unique_ptr<Handler>> handlers;
    std::vector<EventSourcePtr> sources;
    EventSourcePtr timer;
    std::chrono::microseconds period{};
    uint64_t lastPaced = 0;
    bool paceRequested = false;
    std::exception_ptr failure;
};

} // namespace healthintf::healthctl
