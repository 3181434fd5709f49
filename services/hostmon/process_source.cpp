#include "process_source.hpp"

#include "kernel_file.hpp"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <system_error>
#include <vector>

namespace healthintf::hostmon
{

namespace fs = std::filesystem;

namespace
{

/** How much of a name the kernel keeps. */
constexpr std::size_t keptNameSize = 15;

bool isNumber(const std::string& text)
{
    return !text.empty() && std::ranges::all_of(text, [](char c) {
        return c >= '0' && c <= '9';
    });
}

/** A process by its line in stat: "1 (name) S ...". */
struct ProcessStat
{
    std::string name;
    char state = 'X';
    /** When it began, in the kernel's units since the machine did. */
    std::string beginning;
};

/** The part of a text that has so many blanks in front of it. */
std::string partBehind(std::size_t blanks, const std::string& text)
{
    std::istringstream rest(text);
    std::string part;
    for (std::size_t i = 0; i <= blanks; ++i)
    {
        part.clear();
        rest >> part;
    }
    return part;
}

/** Reads a process; one that is gone has no name.
 *
 *  @throws std::system_error when it is there and cannot be read */
ProcessStat readProcess(const fs::path& folder)
{
    try
    {
        const std::string text = contentOf(folder / "stat");
        const auto begin = text.find('(');
        const auto end = text.rfind(')');
        if (begin != std::string::npos && end != std::string::npos &&
            end > begin && end + 2 < text.size())
        {
            constexpr std::size_t toBeginning = 19;
            return {text.substr(begin + 1, end - begin - 1), text[end + 2],
                    partBehind(toBeginning, text.substr(end + 2))};
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

/** The names that are called for, as far as the kernel keeps them. */
std::vector<std::string> keptNames(const std::string& names)
{
    std::vector<std::string> kept;
    std::istringstream rest(names);
    for (std::string name; std::getline(rest, name, '|');)
    {
        kept.push_back(name.substr(0, keptNameSize));
    }
    return kept;
}

bool lives(const ProcessStat& process)
{
    return process.state != 'Z' && process.state != 'X';
}

/** Changes when a file is written or replaced. */
std::string versionOf(const fs::path& file)
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
    const std::vector<std::string> kept = keptNames(name);
    std::error_code error;
    fs::directory_iterator entry(proc, error);
    if (error)
    {
        throw std::runtime_error("unable to read " + proc.string() + ": " +
                                 error.message());
    }
    std::size_t count = 0;
    std::optional<std::system_error> unreadable;
    for (; !error && entry != fs::directory_iterator(); entry.increment(error))
    {
        if (!isNumber(entry->path().filename()))
        {
            continue;
        }
        try
        {
            const ProcessStat process = readProcess(entry->path());
            count +=
                std::ranges::count(kept, process.name) != 0 && lives(process)
                    ? 1
                    : 0;
        }
        catch (const std::system_error& e)
        {
            unreadable = e;
        }
    }
    if (error)
    {
        unreadable =
            std::system_error(error, "unable to read " + proc.string());
    }
    // It may be one of those that were looked for.
    if (count == 0 && unreadable)
    {
        throw std::system_error(*unreadable);
    }
    return count;
}

bool PidfileProcess::lives()
{
    try
    {
        const std::string now = versionOf(pidfile);
        std::string id;
        std::istringstream(contentOf(pidfile)) >> id;
        if (now + id != version)
        {
            version = now + id;
            beginning.clear();
        }
        return isNumber(id) && livesAs(id);
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

bool PidfileProcess::livesAs(const std::string& id)
{
    const ProcessStat process = readProcess(proc / id);
    if (!hostmon::lives(process))
    {
        return false;
    }
    if (beginning.empty())
    {
        beginning = process.beginning;
    }
    return process.beginning == beginning;
}

} // namespace healthintf::hostmon
