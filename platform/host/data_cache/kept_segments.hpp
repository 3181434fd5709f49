#pragma once

/** @file Keeps the segments of a folder open from one query to the next. */

#include "segment_reader.hpp"

#include <sys/stat.h>

#include <cstddef>
#include <ctime>
#include <filesystem>
#include <optional>
#include <vector>

namespace healthintf::host
{

/** What tells that a folder was changed. */
class FolderState
{
  public:
    /** @param[in] folder an open folder
     *  @return nothing when it cannot be looked at */
    static std::optional<FolderState> of(int folder);

    /** Whether a later change would show: the kernel counts time in steps. */
    bool isSettled() const;

    friend bool operator==(const FolderState& a, const FolderState& b);

  private:
    struct stat status
    {};
};

/** The living segments of one folder, as it was listed. Those of a large
 *  system are not kept: each takes a file descriptor. */
class KeptSegments
{
  public:
    /** The most segments that are kept. */
    static constexpr std::size_t most = 64;
    /** What the copies of all may take together, in bytes. */
    static constexpr std::size_t roomForCopies = 512UL << 10;

    /** Whether nothing has come to the folder, or gone, since it was listed. */
    bool areThoseOf(const std::filesystem::path& path) const;

    /** Forgets all, before the folder is listed. */
    void beginListing(const std::filesystem::path& path);

    /** Keeps a segment that was found. */
    void add(SegmentReader segment);

    /** Closes all, and keeps none of those that this listing still finds. */
    void giveUp();

    /** Lets areThoseOf() be true from now on, if all were kept. */
    void endListing();

    /** Closes all. */
    void forget();

    /** Those that are kept. */
    std::vector<SegmentReader>& all()
    {
        return segments;
    }

  private:
    std::vector<SegmentReader> segments;
    std::filesystem::path name;
    /** Open, as that costs less to look at than a name. A folder that is moved
     *  or removed changes, too. */
    FileDescriptor folder;
    /** Of the folder before it was listed. */
    std::optional<FolderState> before;
    /** The same when all segments are kept. */
    std::optional<FolderState> listed;
};

/** The kept segments of this process, lent to one query at a time: another that
 *  runs meanwhile keeps nothing. So no query waits for another, nor does one in
 *  a child of fork() for its parent's. A child opens segments of its own, as it
 *  may close whatever it finds open. */
class LentSegments
{
  public:
    LentSegments();
    ~LentSegments();
    LentSegments(const LentSegments&) = delete;
    LentSegments& operator=(const LentSegments&) = delete;

    KeptSegments& get()
    {
        return shared != nullptr ? *shared : temporary;
    }

  private:
    KeptSegments* shared = nullptr;
    KeptSegments temporary;
};

} // namespace healthintf::host
