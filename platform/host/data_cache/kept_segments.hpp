// SPDX-License-Identifier: Apache-2.0
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

/** A folder's identity and time of change, to notice changes. */
class FolderState
{
  public:
    /** @param[in] folder an open folder
     *  @return nothing when its state cannot be read */
    static std::optional<FolderState> of(int folder);

    /** Whether any later change gives another state: the kernel's times have
     *  coarse steps, so the last change must not be too recent. */
    bool isSettled() const;

    friend bool operator==(const FolderState& a, const FolderState& b);

  private:
    struct stat status
    {};
};

/** The open segments of the living processes in one folder. If there are too
 *  many, none is kept, because each takes a file descriptor. */
class KeptSegments
{
  public:
    /** The most segments that are kept. */
    static constexpr std::size_t most = 64;
    /** The most bytes of all copies together. */
    static constexpr std::size_t roomForCopies = 512UL << 10;

    /** Whether these are the segments of @p path and no file was added to the
     *  folder or removed since it was listed. */
    bool belongTo(const std::filesystem::path& path) const;

    /** Closes all segments; to be called before the folder is listed. */
    void beginListing(const std::filesystem::path& path);

    /** Keeps a segment of the listing. */
    void add(SegmentReader segment);

    /** Closes all segments, and keeps no more segments of this listing. */
    void giveUp();

    /** Ends the listing. If all its segments were kept, belongTo() is true
     *  from now on. */
    void endListing();

    /** Closes all. */
    void forget();

    /** The kept segments. */
    std::vector<SegmentReader>& all()
    {
        return segments;
    }

  private:
    std::vector<SegmentReader> segments;
    std::filesystem::path name;
    /** The open folder: checking it is cheaper than by its name. Moving or
     *  removing the folder changes its state, too. */
    FileDescriptor folder;
    /** The folder's state before it was listed. */
    std::optional<FolderState> before;
    /** The same state, set once all segments are kept. */
    std::optional<FolderState> listed;
};

/** The kept segments of this process, lent to one query at a time. Another
 *  query at the same time gets an empty temporary object, so that no query
 *  waits for another one, also not after a fork() during a query. A forked
 *  child opens segments of its own, because it may close all inherited
 *  files. */
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
