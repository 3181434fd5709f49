#include "process_identity.hpp"

#include <unistd.h>

#include <fstream>
#include <iterator>
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

/** Reads a process's state and start; a process that is not there is
 *  dead. */
ProcessStat readStat(pid_t pid)
{
    std::ifstream file("/proc/" + std::to_string(pid) + "/stat");
    const std::string text{std::istreambuf_iterator<char>(file), {}};
    // The name, in parentheses, may hold blanks and parentheses itself.
    const auto nameEnd = text.rfind(')');
    if (nameEnd == std::string::npos)
    {
        return {};
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
    const ProcessStat stat = readStat(pid);
    if (stat.state == 'X' || stat.state == 'Z')
    {
        return {};
    }
    return {static_cast<uint32_t>(pid), stat.startTime};
}

bool ProcessIdentity::alive() const
{
    return pid != 0 && of(static_cast<pid_t>(pid)) == *this;
}

} // namespace healthintf::host
