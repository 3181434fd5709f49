// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Notices when a process with records in the data cache may have ended,
 *  in whatever way, and when a health record is removed. */

#include "../common/event_loop.hpp"
#include "storage/file_descriptor.hpp"

#include <filesystem>
#include <functional>

namespace healthintf::healthmgr
{

/** Watches the folder of the segments. When a process ends, the kernel closes
 *  its file and reports that to the watchers of the folder; they need no
 *  permission to inspect the process. The kernel also reports changed times of
 *  a file, which a process sets when it removes a health record. */
class SegmentWatch
{
  public:
    /** @param[in] loop the loop that runs the watch; must outlive this object
     *  @param[in] folder the segments' folder, created if it is missing
     *  @param[in] changed called when segments may have lost their owners or
     *             records; once for any number of events
     *  @throws std::system_error when the folder cannot be watched */
    SegmentWatch(services::EventLoop& loop, const std::filesystem::path& folder,
                 std::function<void()> changed);
    SegmentWatch(const SegmentWatch&) = delete;
    SegmentWatch& operator=(const SegmentWatch&) = delete;

    /** Whether the folder was removed or moved: a new folder of its name is not
     *  watched. */
    bool isLost() const noexcept;

  private:
    std::filesystem::path folder;
    /** The watched folder, kept open so that no other folder gets its inode
     *  number. */
    host::FileDescriptor opened;
    host::FileDescriptor watched;
    services::EventSource source;
};

} // namespace healthintf::healthmgr
