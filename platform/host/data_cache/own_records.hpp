// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file The records of this process. */

#include "segment.hpp"

#include <array>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <unordered_map>

namespace healthintf::host
{

/** The records of this process by their paths, in a segment. Thread-safe.
 *
 *  If the segment's file or its folder was removed, the next change of a record
 *  makes the segment again, with all records. */
class OwnRecords
{
  public:
    /** Makes the segment and publishes it to readers.
     *
     *  @param[in] folder the folder of all segments
     *  @param[in] capacity the size in bytes that the segment may grow to
     *  @throws std::system_error when it cannot be made */
    OwnRecords(const std::filesystem::path& folder, std::size_t capacity);

    /** Adds a record, or replaces the one of the same kind and path.
     *
     *  @throws std::exception when there is no room; then nothing is changed */
    void put(const NewRecord& record);

    /** Changes the payload of a record.
     *
     *  @param[in] edit changes the payload and returns 0, or returns another
     *             number to leave the record unchanged
     *  @return what @p edit returned, or ENOENT without a record
     *  @throws as put() */
    int edit(RecordKind kind, std::string_view path,
             const std::function<int(std::string& payload)>& edit);

    /** Changes the live value of a record. Cannot fail for lack of room.
     *
     *  @return 0, or ENOENT without a record */
    int setLive(RecordKind kind, std::string_view path, uint32_t value);

    /** Removes a record. Cannot fail for lack of room. The watchers of the
     *  folder are told that a health record is gone.
     *
     *  @return 0, or ENOENT without a record */
    int remove(RecordKind kind, std::string_view path);

    /** Makes the records placeholders: they count only at paths where no other
     *  process has a record. */
    void makePlaceholders();

    /** Removes the segment's file if there is no record left. */
    void removeFileIfEmpty() noexcept;

    /** See Segment::abandon(). */
    void abandon() noexcept;

  private:
    struct Hash
    {
        using is_transparent = void;
        std::size_t operator()(std::string_view text) const
        {
            return std::hash<std::string_view>()(text);
        }
    };
    using Slots =
        std::unordered_map<std::string, uint32_t, Hash, std::equal_to<>>;

    Slots& getSlots(RecordKind kind);
    void replaceRemoved() noexcept;
    void makeAnew();
    Slots copy(RecordKind kind, Segment& to);

    std::filesystem::path folder;
    std::size_t capacity;
    bool placeholders = false;
    std::mutex mutex;
    std::unique_ptr<Segment> segment;
    Slots faultEntries;
    Slots healthRecords;
};

} // namespace healthintf::host
