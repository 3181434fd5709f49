// SPDX-License-Identifier: Apache-2.0
#include "listener.hpp"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>

#include <netdb.h>

#include <cerrno>
#include <charconv>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <system_error>

namespace healthintf::exporter
{
namespace
{

struct FreeAddresses
{
    void operator()(addrinfo* list) const
    {
        freeaddrinfo(list);
    }
};

using Addresses = std::unique_ptr<addrinfo, FreeAddresses>;

Addresses resolve(const TcpAddress& address)
{
    addrinfo hints{};
    hints.ai_flags = AI_NUMERICHOST | AI_NUMERICSERV | AI_PASSIVE;
    hints.ai_socktype = SOCK_STREAM;
    addrinfo* list = nullptr;
    if (getaddrinfo(address.host.c_str(), std::to_string(address.port).c_str(),
                    &hints, &list) != 0)
    {
        throw std::invalid_argument(address.host +
                                    ": is no address in numbers");
    }
    return Addresses(list);
}

void check(int result, const std::string& what)
{
    if (result < 0)
    {
        throw std::system_error(errno, std::generic_category(), what);
    }
}

host::FileDescriptor newSocket(int family)
{
    const int fd =
        ::socket(family, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    check(fd, "socket");
    return host::FileDescriptor(fd);
}

void bindAndListen(int fd, const sockaddr* address, socklen_t size,
                   const std::string& name)
{
    check(bind(fd, address, size), "unable to listen on " + name);
    check(listen(fd, SOMAXCONN), "unable to listen on " + name);
}

sockaddr_un makeAddress(const std::filesystem::path& path)
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const std::string& name = path.native();
    if (name.empty() || name.size() >= sizeof(address.sun_path))
    {
        throw std::invalid_argument(
            "the socket's path must have 1 to " +
            std::to_string(sizeof(address.sun_path) - 1) + " bytes");
    }
    std::memcpy(address.sun_path, name.data(), name.size());
    return address;
}

const sockaddr* generic(const void* address)
{
    return static_cast<const sockaddr*>(address);
}

/** Removes a socket that a program left behind. */
void removeStale(const sockaddr_un& address, const std::filesystem::path& path)
{
    const host::FileDescriptor probe = newSocket(AF_UNIX);
    if (std::filesystem::is_socket(path) &&
        connect(probe.get(), generic(&address), sizeof(address)) < 0 &&
        errno == ECONNREFUSED)
    {
        std::filesystem::remove(path);
    }
}

/** Which file a path names; nothing when it names none. */
std::optional<FileNumber> fileAt(const std::filesystem::path& path)
{
    struct stat status
    {};
    return lstat(path.c_str(), &status) == 0
               ? std::optional(FileNumber(status.st_dev, status.st_ino))
               : std::nullopt;
}

} // namespace

TcpAddress parseAddress(const std::string& text)
{
    const std::size_t colon = text.rfind(':');
    TcpAddress address;
    address.host = text.substr(0, colon);
    if (address.host.starts_with('[') && address.host.ends_with(']'))
    {
        address.host = address.host.substr(1, address.host.size() - 2);
    }
    else if (address.host.find(':') != std::string::npos)
    {
        throw std::invalid_argument(text +
                                    ": an IPv6 address stands in brackets");
    }
    const char* first =
        text.data() + (colon == std::string::npos ? text.size() : colon + 1);
    const char* end = text.data() + text.size();
    const auto [last, error] = std::from_chars(first, end, address.port);
    if (error != std::errc() || last != end)
    {
        throw std::invalid_argument(text + ": is not ADDRESS:PORT");
    }
    resolve(address);
    return address;
}

bool isLoopback(const TcpAddress& address)
{
    const Addresses list = resolve(address);
    if (list->ai_family == AF_INET6)
    {
        sockaddr_in6 v6{};
        std::memcpy(&v6, list->ai_addr, sizeof(v6));
        return IN6_IS_ADDR_LOOPBACK(&v6.sin6_addr);
    }
    sockaddr_in v4{};
    std::memcpy(&v4, list->ai_addr, sizeof(v4));
    constexpr uint32_t loopbackNet = 127;
    return ntohl(v4.sin_addr.s_addr) >> 24 == loopbackNet;
}

Listener::Listener(const TcpAddress& address)
{
    const Addresses list = resolve(address);
    socket = newSocket(list->ai_family);
    const int on = 1;
    check(setsockopt(socket.get(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof(on)),
          "SO_REUSEADDR");
    bindAndListen(socket.get(), list->ai_addr, list->ai_addrlen,
                  address.host + " port " + std::to_string(address.port));
}

Listener::Listener(const std::filesystem::path& path) :
    socket(newSocket(AF_UNIX))
{
    const sockaddr_un address = makeAddress(path);
    removeStale(address, path);
    bindAndListen(socket.get(), generic(&address), sizeof(address),
                  path.native());
    made = path;
    madeFile = fileAt(path);
}

Listener::~Listener()
{
    // Another program may have replaced it.
    if (madeFile && fileAt(made) == madeFile)
    {
        std::error_code ignored;
        std::filesystem::remove(made, ignored);
    }
}

uint16_t Listener::port() const
{
    sockaddr_storage address{};
    socklen_t size = sizeof(address);
    if (getsockname(fd(), static_cast<sockaddr*>(static_cast<void*>(&address)),
                    &size) < 0)
    {
        return 0;
    }
    sockaddr_in v4{};
    std::memcpy(&v4, &address, sizeof(v4));
    // The port stands at the same place in an IPv6 address.
    return address.ss_family == AF_UNIX ? 0 : ntohs(v4.sin_port);
}

} // namespace healthintf::exporter
