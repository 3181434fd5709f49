// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file An HTTP client that sends any bytes. */

#include "storage/file_descriptor.hpp"

#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>

#include <poll.h>

#include <array>
#include <chrono>
#include <cstring>
#include <stdexcept>
#include <string>

namespace healthintf::test
{

/** A connection to a Unix socket. */
class HttpClient
{
  public:
    explicit HttpClient(const std::string& path) :
        socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0))
    {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::memcpy(address.sun_path, path.data(), path.size());
        // Makes the test fail when the server hangs.
        const timeval patience{20, 0};
        setsockopt(socket.get(), SOL_SOCKET, SO_RCVTIMEO, &patience,
                   sizeof(patience));
        const void* any = &address;
        if (connect(socket.get(), static_cast<const sockaddr*>(any),
                    sizeof(address)) != 0)
        {
            throw std::runtime_error("unable to connect to " + path);
        }
    }

    /** @return whether everything was sent */
    bool send(const std::string& text) const
    {
        return ::send(socket.get(), text.data(), text.size(), MSG_NOSIGNAL) ==
               static_cast<ssize_t>(text.size());
    }

    /** Waits until the server closes the connection.
     *
     *  @return false after a timeout */
    bool ended(std::chrono::milliseconds patience) const
    {
        pollfd end{.fd = socket.get(), .events = POLLRDHUP, .revents = 0};
        return poll(&end, 1, static_cast<int>(patience.count())) == 1;
    }

    /** Everything that the server sends until it closes the connection.
     *
     *  @throws std::runtime_error after a timeout */
    std::string rest() const
    {
        std::string text;
        std::array<char, 4096> part{};
        for (;;)
        {
            const ssize_t size =
                recv(socket.get(), part.data(), part.size(), 0);
            if (size < 0 && errno == EAGAIN)
            {
                throw std::runtime_error("the connection does not end");
            }
            if (size <= 0)
            {
                return text;
            }
            text.append(part.data(), static_cast<std::size_t>(size));
        }
    }

  private:
    host::FileDescriptor socket;
};

} // namespace healthintf::test
