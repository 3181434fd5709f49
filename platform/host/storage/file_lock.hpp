#pragma once

/** @file Locks on files, by which processes wait for each other. The kernel
 *  lets go of what a process held when it ends, however it ends. */

#include "file_descriptor.hpp"
#include "files.hpp"

#include <platform/api.h>

#include <filesystem>

namespace healthintf::host
{

/** A file to lock, made when it is not there. A lock belongs to the open file
 *  and not to the process, so that threads wait for each other too, and
 *  changing it to another kind never lets go of it in between. */
class PLATFORM_API LockFile
{
  public:
    enum class Kind
    {
        shared,
        exclusive,
        none,
    };

    /** @throws std::system_error when the file cannot be opened */
    explicit LockFile(const std::filesystem::path& path);

    /** Waits until the lock is held.
     *
     *  @throws std::system_error when the file cannot be locked */
    void lock(Kind kind);

    /** Takes the lock if that is possible at once.
     *
     *  @return whether it is held
     *  @throws std::system_error when the file cannot be locked */
    bool tryLock(Kind kind);

    /** Whether others who lock the file of this name still meet this one. */
    bool isInPlace() const
    {
        return namedFile(file.get(), name).has_value();
    }

  private:
    std::filesystem::path name;
    FileDescriptor file;
};

} // namespace healthintf::host
