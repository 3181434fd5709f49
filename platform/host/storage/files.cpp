// SPDX-License-Identifier: Apache-2.0
#include "files.hpp"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <string>
#include <system_error>

namespace healthintf::host
{

namespace fs = std::filesystem;

namespace
{

[[noreturn]] void throwFor(const fs::path& file)
{
    throw std::system_error(errno, std::generic_category(), file.string());
}

fs::path findNameAside(const fs::path& file)
{
    const fs::path first = file.string() + ".damaged";
    fs::path aside = first;
    for (int count = 1; count < mostSetAside && fs::exists(aside); ++count)
    {
        aside = first.string() + "." + std::to_string(count);
    }
    return aside;
}

} // namespace

fs::path makeFolder(const fs::path& folder)
{
    fs::create_directories(folder);
    return folder;
}

FileDescriptor openFile(const fs::path& file)
{
    FileDescriptor opened(
        open(file.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, storeFileMode));
    if (opened.get() < 0)
    {
        throwFor(file);
    }
    return opened;
}

void allocateBlocks(int file, std::size_t size, const fs::path& name)
{
    int result = EINTR;
    while (result == EINTR)
    {
        result = posix_fallocate(file, 0, static_cast<off_t>(size));
    }
    if (result != 0)
    {
        throw std::system_error(result, std::generic_category(), name.string());
    }
}

void syncFolder(const fs::path& folder)
{
    const FileDescriptor opened(
        open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (opened.get() < 0 || fsync(opened.get()) != 0)
    {
        throwFor(folder);
    }
}

fs::path setAside(const fs::path& file)
{
    fs::path aside = findNameAside(file);
    fs::rename(file, aside);
    return aside;
}

fs::path replaceSettingAside(const fs::path& file, const fs::path& made)
{
    fs::path aside = findNameAside(file);
    fs::remove(aside);
    std::error_code unable;
    fs::create_hard_link(file, aside, unable);
    if (unable)
    {
        fs::rename(file, aside);
    }
    fs::rename(made, file);
    return aside;
}

} // namespace healthintf::host
