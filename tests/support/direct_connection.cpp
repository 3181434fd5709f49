// SPDX-License-Identifier: Apache-2.0
#include "direct_connection.hpp"

#include <sys/socket.h>
#include <systemd/sd-id128.h>

#include <stdexcept>

namespace healthintf::test
{
namespace
{

struct Sockets
{
    int fds[2];

    Sockets()
    {
        if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0,
                       fds) != 0)
        {
            throw std::runtime_error("unable to make a socket pair");
        }
    }
};

sd_bus* start(int fd, bool server)
{
    sd_bus* bus = nullptr;
    sd_id128_t id{};
    if (sd_bus_new(&bus) < 0 || sd_bus_set_fd(bus, fd, fd) < 0 ||
        (server &&
         (sd_id128_randomize(&id) < 0 || sd_bus_set_server(bus, 1, id) < 0)) ||
        sd_bus_start(bus) < 0)
    {
        throw std::runtime_error("unable to start a connection");
    }
    return bus;
}

} // namespace

DirectConnection::DirectConnection() : bus(nullptr)
{
    const Sockets sockets;
    near.reset(start(sockets.fds[0], true));
    far.reset(start(sockets.fds[1], false));
    bus = sdbusplus::bus_t(near.get(), &recorder);
    settle();
}

DirectConnection::~DirectConnection() = default;

sd_bus* DirectConnection::peer()
{
    return far.get();
}

sd_bus* DirectConnection::raw()
{
    return near.get();
}

void DirectConnection::settle()
{
    bool busy = true;
    while (busy)
    {
        busy = sd_bus_process(near.get(), nullptr) > 0;
        busy = sd_bus_process(far.get(), nullptr) > 0 || busy;
    }
}

int DirectConnection::keepReply(sd_bus_message* message, void* context,
                                sd_bus_error* /*error*/)
{
    static_cast<MessagePtr*>(context)->reset(sd_bus_message_ref(message));
    return 0;
}

} // namespace healthintf::test
