#include "process_watch.hpp"

#include <sys/syscall.h>

#include <unistd.h>

#include <cerrno>
#include <system_error>
#include <utility>

namespace healthintf::healthmgr
{

ProcessWatch::ProcessWatch(services::EventLoop& loop, Ended ended) :
    loop(loop), ended(std::move(ended))
{}

void ProcessWatch::watch(const host::ProcessIdentity& process)
{
    if (watched.contains(process))
    {
        return;
    }
    host::FileDescriptor descriptor(static_cast<int>(
        syscall(SYS_pidfd_open, static_cast<pid_t>(process.pid), 0)));
    if (descriptor.get() < 0 && errno != ESRCH)
    {
        throw std::system_error(errno, std::generic_category(),
                                "pidfd_open of " + std::to_string(process.pid));
    }
    // Asked only now, so that the descriptor cannot be that of a later process
    // with the same id.
    if (descriptor.get() < 0 || !process.alive())
    {
        ended(process);
        return;
    }
    auto source = loop.onReadable(descriptor.get(), [this, process] {
        const auto node = watched.extract(process);
        ended(process);
    });
    watched.emplace(process, Watched{std::move(descriptor), std::move(source)});
}

} // namespace healthintf::healthmgr
