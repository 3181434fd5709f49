// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file The service manager's end of sd_notify(). */

#include "process.hpp"
#include "temporary_folder.hpp"

#include <sys/socket.h>
#include <sys/un.h>

#include <poll.h>
#include <unistd.h>

#include <array>
#include <stdexcept>
#include <string>

namespace healthintf::test
{

class NotifySocket
{
  public:
    NotifySocket() :
        path(folder.path() / "notify"),
        descriptor(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0))
    {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        path.copy(address.sun_path, sizeof(address.sun_path) - 1);
        if (bind(descriptor, reinterpret_cast<const sockaddr*>(&address),
                 sizeof(address)) != 0)
        {
            throw std::runtime_error("unable to bind " + path);
        }
    }

    ~NotifySocket()
    {
        close(descriptor);
    }

    NotifySocket(const NotifySocket&) = delete;
    NotifySocket& operator=(const NotifySocket&) = delete;

    int fd() const
    {
        return descriptor;
    }

    /** The setting NOTIFY_SOCKET for the service's environment. */
    std::string setting() const
    {
        return "NOTIFY_SOCKET=" + path;
    }

    /** Waits for the next message.
     *
     *  @throws std::runtime_error after a timeout */
    std::string hear() const
    {
        using std::chrono::milliseconds;
        pollfd wanted{descriptor, POLLIN, 0};
        if (poll(&wanted, 1, milliseconds(patience).count()) != 1)
        {
            throw std::runtime_error("the service manager hears nothing");
        }
        std::array<char, 256> text{};
        const ssize_t size = read(descriptor, text.data(), text.size());
        return {text.data(), static_cast<std::size_t>(size)};
    }

    /** Whether no unread message has arrived. */
    bool silent() const
    {
        pollfd wanted{descriptor, POLLIN, 0};
        return poll(&wanted, 1, 0) == 0;
    }

  private:
    TemporaryFolder folder;
    std::string path;
    int descriptor;
};

} // namespace healthintf::test
