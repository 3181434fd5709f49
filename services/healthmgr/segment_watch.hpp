#pragma once

/** @file Tells when a process that has records in the data cache may have
 *  ended, whatever way it ends, and when a health record is gone. */

#include "../common/event_loop.hpp"
#include "storage/file_descriptor.hpp"

#include <filesystem>
#include <functional>

namespace healthintf::healthmgr
{

/** Watches the folder of the segments. The kernel closes the file that a
 *  process writes when the process ends, and tells whoever watches the folder;
 *  no right to look at the process is needed for that. It also tells of new
 *  times of a file, which a process sets when it removes a health record. */
class SegmentWatch
{
  public:
    /** @param[in] loop what runs the watch; must outlive this object
     *  @param[in] folder the segments' folder, made when it is not there
     *  @param[in] changed called when a segment may have lost its owner or a
     *             record; once for any number of them
     *  @throws std::system_error when the folder cannot be watched */
    SegmentWatch(services::EventLoop& loop, const std::filesystem::path& folder,
                 std::function<void()> changed);
    SegmentWatch(const SegmentWatch&) = delete;
    SegmentWatch& operator=(const SegmentWatch&) = delete;

    /** Whether somebody has removed or moved the folder: nothing is told of the
     *  one that has its name now. */
    bool isLost() const noexcept;

  private:
    std::filesystem::path folder;
    /** The folder that is watched, open so that no other gets its number. */
    host::FileDescriptor opened;
    host::FileDescriptor watched;
    services::EventSource source;
};

} // namespace healthintf::healthmgr
