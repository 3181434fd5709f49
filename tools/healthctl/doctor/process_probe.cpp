// SPDX-License-Identifier: Apache-2.0
#include "process_probe.hpp"

#include <data_cache/start_time.hpp>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string_view>

namespace healthintf::healthctl
{
namespace
{

namespace fs = std::filesystem;

fs::path getFolder(uint32_t pid)
{
    return fs::path("/proc") / std::to_string(pid);
}

std::string readText(const fs::path& file)
{
    std::ifstream stream(file);
    std::ostringstream text;
    text << stream.rdbuf();
    return text.str();
}

} // namespace

std::optional<std::size_t> openFileLimitIn(const std::string& limits)
{
    constexpr std::string_view row = "Max open files";
    const auto at = limits.find(row);
    if (at == std::string::npos)
    {
        return std::nullopt;
    }
    std::istringstream text(limits.substr(at + row.size()));
    std::size_t limit = 0;
    return text >> limit ? std::optional(limit) : std::nullopt;
}

std::optional<OpenFiles> countOpenFiles(const std::string& program,
                                        uint32_t pid)
{
    const auto limit = openFileLimitIn(readText(getFolder(pid) / "limits"));
    std::error_code error;
    const fs::directory_iterator files(getFolder(pid) / "fd", error);
    if (!limit || error)
    {
        return std::nullopt;
    }
    return OpenFiles{.program = program,
                     .pid = pid,
                     .open = static_cast<std::size_t>(
                         std::distance(begin(files), end(files))),
                     .limit = *limit};
}

std::optional<uint64_t> readStartTime(uint32_t pid)
{
    return host::parseStartTime(readText(getFolder(pid) / "stat"));
}

std::optional<uid_t> readUser(uint32_t pid)
{
    struct stat process
    {};
    return stat(getFolder(pid).c_str(), &process) == 0
               ? std::optional(process.st_uid)
               : std::nullopt;
}

} // namespace healthintf::healthctl
