#include "doorbell.hpp"

#include <sys/eventfd.h>

#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace healthintf::hostmon
{

Doorbell::Doorbell() : fd(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))
{
    if (fd < 0)
    {
        throw std::system_error(errno, std::generic_category(), "eventfd");
    }
}

Doorbell::~Doorbell()
{
    close(fd);
}

void Doorbell::ring() const
{
    // Fails only when the counter is full, and then the descriptor is readable.
    static_cast<void>(eventfd_write(fd, 1));
}

void Doorbell::answer() const
{
    // Fails only when the counter is 0 already.
    eventfd_t count = 0;
    static_cast<void>(eventfd_read(fd, &count));
}

} // namespace healthintf::hostmon
