// SPDX-License-Identifier: Apache-2.0
#include "replace_file.hpp"

#include "../storage/file_descriptor.hpp"
#include "../storage/files.hpp"

#include <sys/types.h>

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <system_error>

namespace healthintf::host
{

namespace fs = std::filesystem;

namespace
{

/** The file's permissions, before the umask. */
constexpr mode_t fileMode = 0644;

[[noreturn]] void throwForFile(const fs::path& file)
{
    throw std::system_error(errno, std::generic_category(), file.string());
}

/** Creates a file that nobody else has open. Removes an existing one first: it
 *  may be a link to somebody else's file. */
FileDescriptor createFile(const fs::path& file)
{
    if (unlink(file.c_str()) != 0 && errno != ENOENT)
    {
        throwForFile(file);
    }
    FileDescriptor made(
        open(file.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC,
             fileMode));
    if (made.get() < 0)
    {
        throwForFile(file);
    }
    return made;
}

/** Creates a file with this content and writes it to the disk. */
void writeFile(const fs::path& file, std::string_view content)
{
    const FileDescriptor made = createFile(file);
    while (!content.empty())
    {
        const ssize_t written =
            write(made.get(), content.data(), content.size());
        if (written < 0 && errno != EINTR)
        {
            throwForFile(file);
        }
        content.remove_prefix(std::max<ssize_t>(written, 0));
    }
    if (fsync(made.get()) != 0)
    {
        throwForFile(file);
    }
}

} // namespace

void replaceFile(const fs::path& file, std::string_view content)
{
    const fs::path made = file.string() + ".new";
    try
    {
        writeFile(made, content);
        fs::rename(made, file);
    }
    catch (...)
    {
        std::error_code ignored;
        fs::remove(made, ignored);
        throw;
    }
    syncFolder(file.parent_path());
}

} // namespace healthintf::host
