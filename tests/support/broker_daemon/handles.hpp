// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Owners of what broker-daemon gets from the system, and its errors. */

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

/** Throws for a result below zero that left its reason in errno. */
inline int checkErrno(int result, const std::string& what)
{
    if (result < 0)
    {
        throw std::system_error(errno, std::generic_category(), what);
    }
    return result;
}

/** Throws for a result of libsystemd below zero, which is its reason. */
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
