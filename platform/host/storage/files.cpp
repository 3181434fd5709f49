#include "files.hpp"

#include <fcntl.h>

#include <cerrno>
#include <system_error>

namespace healthintf::host
{

namespace fs = std::filesystem;

FileDescriptor openFile(const fs::path& file)
{
    FileDescriptor opened(
        open(file.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, storeFileMode));
    if (opened.get() < 0)
    {
        throw std::system_error(errno, std::generic_category(), file.string());
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

void remakeLockFile(const fs::path& folder, unsigned int maxReaders)
{
    constexpr std::size_t bytesPerReader = 64;
    constexpr std::size_t header = 4096;
    const fs::path file = folder / "lock.mdb";
    fs::remove(file);
    allocateBlocks(openFile(file).get(), header + bytesPerReader * maxReaders,
                   file);
}

fs::path setAside(const fs::path& file)
{
    fs::path aside = file.string() + ".damaged";
    fs::rename(file, aside);
    return aside;
}

} // namespace healthintf::host
