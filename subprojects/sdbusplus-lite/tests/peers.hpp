#pragma once

/** @file Two connections joined directly, so that the tests need no bus
 *  daemon. */

#include <sdbusplus/bus.hpp>
#include <sys/socket.h>
#include <systemd/sd-bus.h>
#include <systemd/sd-id128.h>

#include <stdexcept>

namespace sdbusplus::test
{

/** The ends of one socket: what one sends, the other processes. */
class Peers
{
  public:
    Peers() : Peers(sockets())
    {}

    bus_t near;
    bus_t far;

    /** Lets both ends work until neither has anything left to do. */
    void settle()
    {
        bool busy = true;
        while (busy)
        {
            busy = near.process_discard();
            busy = far.process_discard() || busy;
        }
    }

  private:
    struct Sockets
    {
        int fds[2];
    };

    explicit Peers(Sockets s) :
        near(end(s.fds[0], true), std::false_type{}),
        far(end(s.fds[1], false), std::false_type{})
    {
        settle();
    }

    static Sockets sockets()
    {
        Sockets s{};
        if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0,
                       s.fds) != 0)
        {
            throw std::runtime_error("unable to make a socket pair");
        }
        return s;
    }

    static sd_bus* end(int fd, bool server)
    {
        sd_bus* b = nullptr;
        sd_id128_t id{};
        if (sd_bus_new(&b) < 0 || sd_bus_set_fd(b, fd, fd) < 0 ||
            (server && (sd_id128_randomize(&id) < 0 ||
                        sd_bus_set_server(b, 1, id) < 0)) ||
            sd_bus_start(b) < 0)
        {
            throw std::runtime_error("unable to start a connection");
        }
        return b;
    }
};

} // namespace sdbusplus::test
