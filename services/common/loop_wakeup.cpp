// SPDX-License-Identifier: Apache-2.0
#include "loop_wakeup.hpp"

#include <sys/eventfd.h>

#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace healthintf::services
{

LoopWakeup::LoopWakeup() : fd(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))
{
    if (fd < 0)
    {
        throw std::system_error(errno, std::generic_category(), "eventfd");
    }
}

LoopWakeup::~LoopWakeup()
{
    close(fd);
}

void LoopWakeup::wake() const
{
    // Fails only when the counter is full, and then the descriptor is readable.
    static_cast<void>(eventfd_write(fd, 1));
}

void LoopWakeup::reset() const
{
    // Fails only when the counter is 0 already.
    eventfd_t count = 0;
    static_cast<void>(eventfd_read(fd, &count));
}

} // namespace healthintf::services
