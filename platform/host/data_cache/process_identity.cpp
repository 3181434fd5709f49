// SPDX-License-Identifier: Apache-2.0
#include "process_identity.hpp"

#include "../storage/file_descriptor.hpp"
#include "start_time.hpp"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <optional>
#include <stdexcept>
#include <string>

namespace healthintf::host
{
namespace
{

constexpr const char* ownStat = "/proc/self/stat";

/** When this process started; nothing when it cannot be read. */
std::optional<uint64_t> readStartTime()
{
    // Enough for all fields up to the start time.
    std::array<char, 1024> line{};
    const FileDescriptor file(open(ownStat, O_RDONLY | O_CLOEXEC));
    const ssize_t length =
        file.get() < 0 ? -1 : read(file.get(), line.data(), line.size());
    if (length < 0)
    {
        return std::nullopt;
    }
    return parseStartTime({line.data(), static_cast<std::size_t>(length)});
}

} // namespace

ProcessIdentity ProcessIdentity::self()
{
    const auto startTime = readStartTime();
    if (!startTime)
    {
        throw std::runtime_error(std::string("unable to read ") + ownStat);
    }
    return {static_cast<uint32_t>(getpid()), *startTime};
}

ProcessName ownProcessName()
{
    ProcessName name{};
    const FileDescriptor file(open("/proc/self/comm", O_RDONLY | O_CLOEXEC));
    const ssize_t size =
        file.get() < 0 ? -1 : read(file.get(), name.data(), name.size());
    if (size < 0)
    {
        return {};
    }
    // The name ends with a line end.
    name.at(static_cast<std::size_t>(std::max<ssize_t>(size - 1, 0))) = '\0';
    return name;
}

} // namespace healthintf::host
