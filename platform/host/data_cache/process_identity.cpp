#include "process_identity.hpp"

#include "../storage/file_descriptor.hpp"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <string>

namespace healthintf::host
{
namespace
{

/** What /proc/<pid>/stat tells of a process. */
struct ProcessStat
{
    char state = 'X';
    uint64_t startTime = 0;
};

/** Reads a process's state and start; a process that is not there is dead.
 *
 *  @return nothing when it cannot be told */
std::optional<ProcessStat> readStat(pid_t pid)
{
    // More than all that stands in front of the start.
    std::array<char, 1024> line{};
    const auto isGone = [] {
        return errno == ENOENT || errno == ESRCH;
    };
    const FileDescriptor file(
        open(("/proc/" + std::to_string(pid) + "/stat").c_str(),
             O_RDONLY | O_CLOEXEC));
    const ssize_t length =
        file.get() < 0 ? -1 : read(file.get(), line.data(), line.size());
    if (length < 0)
    {
        return isGone() ? std::optional(ProcessStat{}) : std::nullopt;
    }
    const std::string text(line.data(), static_cast<std::size_t>(length));
    // The name, in parentheses, may hold blanks and parentheses itself.
    const auto nameEnd = text.rfind(')');
    if (nameEnd == std::string::npos)
    {
        return ProcessStat{};
    }
    std::istringstream fields(text.substr(nameEnd + 1));
    ProcessStat stat;
    fields >> stat.state;
    // proc(5): the state is field 3, the start time field 22.
    constexpr int fieldsBetween = 18;
    std::string skipped;
    for (int i = 0; i < fieldsBetween; ++i)
    {
        fields >> skipped;
    }
    fields >> stat.startTime;
    return fields ? stat : ProcessStat{};
}

bool lives(const ProcessStat& stat)
{
    return stat.state != 'X' && stat.state != 'Z';
}

} // namespace

ProcessIdentity ProcessIdentity::self()
{
    const ProcessIdentity identity = of(getpid());
    if (identity.pid == 0)
    {
        throw std::runtime_error("unable to read /proc/self/stat");
    }
    return identity;
}

ProcessIdentity ProcessIdentity::of(pid_t pid)
{
    const auto stat = readStat(pid);
    return stat && lives(*stat)
               ? ProcessIdentity{static_cast<uint32_t>(pid), stat->startTime}
               : ProcessIdentity{};
}

bool ProcessIdentity::alive() const
{
    if (pid == 0)
    {
        return false;
    }
    const auto process = static_cast<pid_t>(pid);
    if (const auto stat = readStat(process))
    {
        return lives(*stat) && stat->startTime == startTime;
    }
    // Whoever has no file descriptor left must not take the living for dead.
    return kill(process, 0) == 0 || errno != ESRCH;
}

} // namespace healthintf::host
