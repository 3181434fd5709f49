#include "process_watch.hpp"

#include <sys/resource.h>
#include <sys/syscall.h>

#include <unistd.h>

#include <cerrno>
#include <system_error>
#include <utility>

namespace healthintf::healthmgr
{

namespace
{

/** Whether a file descriptor is one of the last that this process may have.
 *  They are for what it does meanwhile: making a node, looking into /proc. */
bool isOneOfTheLast(int descriptor)
{
    constexpr rlim_t kept = 8;
    rlimit limit{};
    return getrlimit(RLIMIT_NOFILE, &limit) == 0 &&
           static_cast<rlim_t>(descriptor) + kept >= limit.rlim_cur;
}

} // namespace

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
    int error = descriptor.get() < 0 ? errno : 0;
    if (error == 0 && isOneOfTheLast(descriptor.get()))
    {
        descriptor = host::FileDescriptor();
        error = EMFILE;
    }
    // Asked only now, so that the descriptor cannot be that of a later process
    // with the same id.
    if (error == ESRCH || !process.alive())
    {
        ended(process);
        return;
    }
    if (error != 0)
    {
        throw std::system_error(error, std::generic_category(), "pidfd_open");
    }
    auto source = loop.onReadable(descriptor.get(), [this, process] {
        const auto node = watched.extract(process);
        ended(process);
    });
    watched.emplace(process, Watched{std::move(descriptor), std::move(source)});
}

} // namespace healthintf::healthmgr
