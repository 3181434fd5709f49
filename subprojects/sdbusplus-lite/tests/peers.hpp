// SPDX-License-Identifier: Apache-2.0
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

/** Gives connections a name, which without a bus they do not have. */
struct Named : SdBusImpl
{
    int sd_bus_get_unique_name(sd_bus* /*bus*/, const char** unique) override
    {
        *unique = ":1.1";
        return 0;
    }
};

inline Named named;

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
        near(end(s.fds[0], true)), far(end(s.fds[1], false))
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

    static bus_t end(int fd, bool server)
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
        bus_t held(b, &named);
        sd_bus_unref(b);
        return held;
    }
};

} // namespace sdbusplus::test
