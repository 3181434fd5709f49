// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Locks on files, by which processes wait for each other. The kernel
 *  releases a process's locks when it ends, also after a crash. */

#include "file_descriptor.hpp"
#include "files.hpp"

#include <platform/api.h>

#include <filesystem>

namespace healthintf::host
{

/** A file to lock, created when it is missing. A lock belongs to the open file
 *  and not to the process, so that threads wait for each other too. Changing
 *  its kind does not release it in between. */
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

    /** Takes the lock; waits until that is possible.
     *
     *  @throws std::system_error when the file cannot be locked */
    void lock(Kind kind);

    /** Takes the lock if that is possible without waiting.
     *
     *  @return whether the lock was taken
     *  @throws std::system_error when the file cannot be locked */
    bool tryLock(Kind kind);

    /** Whether the name is still that of this file, so that others lock the
     *  same. */
    bool isInPlace() const
    {
        return namedFile(file.get(), name).has_value();
    }

  private:
    std::filesystem::path name;
    FileDescriptor file;
};

} // namespace healthintf::host
