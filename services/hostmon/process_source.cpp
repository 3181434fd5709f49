// SPDX-License-Identifier: Apache-2.0
#include "process_source.hpp"

#include "kernel_file.hpp"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <sstream>
#include <stdexcept>
#include <system_error>
#include <utility>
#include <vector>

namespace healthintf::hostmon
{

namespace fs = std::filesystem;

namespace
{

/** How many bytes of a program's name the kernel keeps. It shows more of its
 *  own threads' names. */
constexpr std::size_t maxKernelName = 15;

bool isNumber(const std::string& text)
{
    return !text.empty() && std::ranges::all_of(text, [](char c) {
        return c >= '0' && c <= '9';
    });
}

/** Whether a text is a number that a process may have. */
bool isProcessId(const std::string& text)
{
    constexpr std::size_t maxDigits = 10;
    return text.size() <= maxDigits && isNumber(text);
}

/** A process as its file stat describes it: "1 (name) S ...". */
struct ProcessStat
{
    /** At most as long as the kernel keeps one. */
    std::string name;
    char state = 'X';
    /** When it started, in clock ticks since the machine did. */
    std::string startTime;
};

/** Selects a field of a text by its number from 0 on; empty where there is
 *  none. */
std::string selectField(std::size_t index, const std::string& text)
{
    std::istringstream rest(text);
    std::string field;
    for (std::size_t i = 0; i <= index; ++i)
    {
        field.clear();
        rest >> field;
    }
    return field;
}

/** Reads a process. The result has no name when the process is gone.
 *
 *  @throws std::system_error when it exists and cannot be read */
ProcessStat readProcess(const fs::path& folder)
{
    try
    {
        const std::string text = readKernelFile(folder / "stat");
        const auto begin = text.find('(');
        const auto end = text.rfind(')');
        if (begin != std::string::npos && end != std::string::npos &&
            end > begin && end + 2 < text.size())
        {
            // Counted from the state, which is the field behind the name.
            constexpr std::size_t startTimeField = 19;
            const std::size_t length = std::min(end - begin - 1, maxKernelName);
            return {text.substr(begin + 1, length), text[end + 2],
                    selectField(startTimeField, text.substr(end + 2))};
        }
    }
    catch (const std::system_error& e)
    {
        if (!isGone(e.code()))
        {
            throw;
        }
    }
    return {};
}

/** Splits names at '|' and cuts each to what the kernel keeps. */
std::vector<std::string> splitNames(const std::string& names)
{
    std::vector<std::string> split;
    std::istringstream rest(names);
    for (std::string name; std::getline(rest, name, '|');)
    {
        split.push_back(name.substr(0, maxKernelName));
    }
    return split;
}

bool isAlive(const ProcessStat& process)
{
    return process.state != 'Z' && process.state != 'X';
}

/** Makes a text that is another one after the file was written or replaced. */
std::string describeVersion(const fs::path& file)
{
    struct stat found
    {};
    if (stat(file.c_str(), &found) != 0)
    {
        throw std::system_error(errno, std::generic_category(),
                                "unable to open " + file.string());
    }
    std::string version;
    for (const auto number :
         {static_cast<uint64_t>(found.st_dev), uint64_t{found.st_ino},
          static_cast<uint64_t>(found.st_mtim.tv_sec),
          static_cast<uint64_t>(found.st_mtim.tv_nsec),
          static_cast<uint64_t>(found.st_size)})
    {
        version += std::to_string(number) + " ";
    }
    return version;
}

} // namespace

std::size_t countProcesses(const fs::path& proc, const std::string& name)
{
    const std::vector<std::string> wanted = splitNames(name);
    std::error_code error;
    fs::directory_iterator entry(proc, error);
    if (error)
    {
        throw std::runtime_error("unable to read " + proc.string() + ": " +
                                 error.message());
    }
    std::size_t count = 0;
    std::error_code unreadable;
    for (; !error && entry != fs::directory_iterator(); entry.increment(error))
    {
        if (!isNumber(entry->path().filename()))
        {
            continue;
        }
        try
        {
            const ProcessStat process = readProcess(entry->path());
            count += std::ranges::count(wanted, process.name) != 0 &&
                             isAlive(process)
                         ? 1
                         : 0;
        }
        catch (const std::system_error& e)
        {
            unreadable = e.code();
        }
    }
    if (count == 0 && error)
    {
        throw std::system_error(error, "unable to read " + proc.string());
    }
    // The process that could not be read may be the wanted one. It is not
    // named, as it may be another one at each reading.
    if (count == 0 && unreadable)
    {
        throw std::system_error(unreadable,
                                "unable to read a process in " + proc.string());
    }
    return count;
}

PidfileProcess::PidfileProcess(fs::path procFolder, fs::path file,
                               const std::string& known) :
    proc(std::move(procFolder)),
    pidfile(std::move(file))
{
    std::istringstream lines(known);
    std::getline(lines, version);
    std::getline(lines, startTime);
}

std::string PidfileProcess::identity() const
{
    return version + '\n' + startTime;
}

bool PidfileProcess::isAlive()
{
    try
    {
        const std::string current = describeVersion(pidfile);
        std::string id;
        std::istringstream(readKernelFile(pidfile)) >> id;
        if (!isProcessId(id))
        {
            return false;
        }
        if (current + id != version)
        {
            version = current + id;
            startTime.clear();
        }
        return isAliveAs(id);
    }
    catch (const std::system_error&)
    {
        std::error_code error;
        if (fs::status(pidfile, error).type() == fs::file_type::not_found)
        {
            return false;
        }
        throw;
    }
}

bool PidfileProcess::isAliveAs(const std::string& id)
{
    const ProcessStat process = readProcess(proc / id);
    if (!hostmon::isAlive(process))
    {
        return false;
    }
    if (startTime.empty())
    {
        startTime = process.startTime;
    }
    return process.startTime == startTime;
}

} // namespace healthintf::hostmon
