#pragma once

/** @file Who uses a store: every process holds a lock on one file of its folder
 *  for as long as it has the store open. */

#include "file_lock.hpp"

#include <filesystem>

namespace healthintf::host
{

/** One user's hold. The first user may prepare the store before others come
 *  in; what stands in it then belongs to nobody alive. */
class UsersLock
{
  public:
    /** Takes hold, waiting for a first user that is preparing the store.
     *
     *  @throws std::system_error when the file cannot be locked */
    explicit UsersLock(const std::filesystem::path& path);

    /** Whether this is the only user, who keeps others out until
     *  letOthersIn(). */
    bool alone() const
    {
        return first;
    }

    /** Ends the preparation. */
    void letOthersIn();

  private:
    LockFile file;
    bool first;
};

} // namespace healthintf::host
