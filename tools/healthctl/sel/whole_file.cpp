// SPDX-License-Identifier: Apache-2.0
#include "whole_file.hpp"

#include <storage/file_descriptor.hpp>
#include <storage/files.hpp>
#include <sys/stat.h>

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <string>
#include <system_error>

namespace healthintf::healthctl
{
namespace
{

namespace fs = std::filesystem;
using host::FileDescriptor;

/** Who may use a file that was not there before, less the umask. */
constexpr mode_t newFileMode = 0666;

[[noreturn]] void failOn(const fs::path& file)
{
    throw std::system_error(errno, std::generic_category(), file.string());
}

void writeAll(const FileDescriptor& opened, std::string_view content,
              const fs::path& file)
{
    while (!content.empty())
    {
        const ssize_t written =
            write(opened.get(), content.data(), content.size());
        if (written < 0 && errno != EINTR)
        {
            failOn(file);
        }
        content.remove_prefix(
            static_cast<std::size_t>(std::max<ssize_t>(written, 0)));
    }
}

void writeInto(const fs::path& file, std::string_view content)
{
    const FileDescriptor opened(open(file.c_str(), O_WRONLY | O_CLOEXEC));
    if (opened.get() < 0)
    {
        failOn(file);
    }
    writeAll(opened, content, file);
}

/** The mode of a file that is there, else that of a new one. */
mode_t readMode(const fs::path& file)
{
    struct stat found
    {};
    if (stat(file.c_str(), &found) == 0)
    {
        return found.st_mode & ALLPERMS;
    }
    const mode_t mask = umask(0);
    umask(mask);
    return newFileMode & ~mask;
}

/** Makes a file with this content, which is on the disk then, and puts it in
 *  the place of another. */
void replace(const fs::path& file, std::string_view content)
{
    std::string made = file.string() + ".XXXXXX";
    const FileDescriptor opened(mkostemp(made.data(), O_CLOEXEC));
    if (opened.get() < 0)
    {
        failOn(file);
    }
    try
    {
        writeAll(opened, content, file);
        if (fchmod(opened.get(), readMode(file)) != 0 ||
            fsync(opened.get()) != 0)
        {
            failOn(file);
        }
        fs::rename(made, file);
    }
    catch (...)
    {
        std::error_code ignored;
        fs::remove(made, ignored);
        throw;
    }
    host::syncFolder(file.parent_path());
}

} // namespace

void writeWholeFile(const fs::path& file, std::string_view content)
{
    // A pipe of /dev/stdout or /dev/fd has no other name than this one.
    if (fs::exists(file) && !fs::is_regular_file(file))
    {
        writeInto(file, content);
        return;
    }
    if (fs::is_symlink(file) && !fs::exists(file))
    {
        errno = ENOENT;
        failOn(file);
    }
    replace(fs::weakly_canonical(fs::absolute(file)), content);
}

} // namespace healthintf::healthctl
