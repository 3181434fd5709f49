// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file RAII owners of system resources of broker-daemon, and error checks. */

#include <systemd/sd-bus.h>
#include <systemd/sd-event.h>

#include <unistd.h>

#include <cerrno>
#include <memory>
#include <string>
#include <system_error>
#include <utility>

namespace healthintf::test
{

/** Throws std::system_error with errno when @p result is negative. */
inline int checkErrno(int result, const std::string& what)
{
    if (result < 0)
    {
        throw std::system_error(errno, std::generic_category(), what);
    }
    return result;
}

/** Throws std::system_error when @p result, of libsystemd, is negative. */
inline int checkResult(int result, const std::string& what)
{
    if (result < 0)
    {
        throw std::system_error(-result, std::generic_category(), what);
    }
    return result;
}

class Descriptor
{
  public:
    explicit Descriptor(int fd) : fd(fd)
    {}

    ~Descriptor()
    {
        reset();
    }

    Descriptor(Descriptor&& other) noexcept : fd(std::exchange(other.fd, -1))
    {}

    Descriptor& operator=(Descriptor&& other) = delete;

    int get() const
    {
        return fd;
    }

    void reset()
    {
        if (fd >= 0)
        {
            close(std::exchange(fd, -1));
        }
    }

  private:
    int fd;
};

struct BusCloser
{
    void operator()(sd_bus* bus) const
    {
        sd_bus_flush_close_unref(bus);
    }
};
using BusHandle = std::unique_ptr<sd_bus, BusCloser>;

struct LoopReleaser
{
    void operator()(sd_event* loop) const
    {
        sd_event_unref(loop);
    }
};
using LoopHandle = std::unique_ptr<sd_event, LoopReleaser>;

} // namespace healthintf::test
