// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file The socket that the HTTP server listens on. */

#include "storage/file_descriptor.hpp"

#include <sys/types.h>

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <utility>

namespace healthintf::exporter
{

/** An address of TCP. */
struct TcpAddress
{
    /** In numbers, of IPv4 or IPv6. */
    std::string host = "127.0.0.1";
    uint16_t port = 9942;
};

/** Reads ADDRESS:PORT; an address of IPv6 stands in brackets.
 *
 *  @throws std::invalid_argument saying what is wrong */
TcpAddress parseAddress(const std::string& text);

/** Whether only this machine reaches an address.
 *
 *  @throws std::invalid_argument when the host is no address in numbers */
bool isLoopback(const TcpAddress& address);

/** A filesystem's number and that of a file in it. */
using FileNumber = std::pair<dev_t, ino_t>;

/** A socket that listens; a path is removed with it, unless another file has
 *  taken its place. */
class Listener
{
  public:
    /** @throws std::exception when it cannot be listened on */
    explicit Listener(const TcpAddress& address);

    /** Replaces a socket that nobody listens on any more.
     *
     *  @throws std::exception when it cannot be listened on */
    explicit Listener(const std::filesystem::path& path);

    ~Listener();
    Listener(const Listener&) = delete;
    Listener& operator=(const Listener&) = delete;

    int fd() const
    {
        return socket.get();
    }

    /** The port of TCP, also when it was chosen by the system; 0 for a path. */
    uint16_t port() const;

  private:
    host::FileDescriptor socket;
    std::filesystem::path made;
    std::optional<FileNumber> madeFile;
};

} // namespace healthintf::exporter
