// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Writes the segment of this process. */

#include "../storage/file_descriptor.hpp"
#include "segment_format.hpp"

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <map>
#include <string_view>

namespace healthintf::host
{

/** A record to write. The caller owns the texts. */
struct NewRecord
{
    RecordKind kind;
    std::string_view path;
    std::string_view payload;
    uint32_t live = 0;
    /** When the record was created, in nanoseconds since boot; 0 for now. */
    uint64_t created = 0;
};

/** A segment, written by this process only.
 *
 *  The file is made and locked under a hidden name that readers ignore, and
 *  gets its final name by publish(). It stays when the object is destroyed. A
 *  caller uses either add() or putAt(), not both. Not thread-safe. */
class Segment
{
  public:
    /** Makes a segment.
     *
     *  @param[in] path the final name; publish() replaces an existing file
     *  @param[in] capacity the size in bytes that the file may grow to
     *  @throws std::system_error when it cannot be made */
    Segment(const std::filesystem::path& path, std::size_t capacity);
    ~Segment();
    Segment(const Segment&) = delete;
    Segment& operator=(const Segment&) = delete;

    /** Gives the file its final name, under which readers find it.
     *
     *  @throws std::system_error when that is not possible */
    void publish();

    /** Whether readers find the published file: it still has its name and has
     *  not been truncated. */
    bool isInPlace() const noexcept;

    /** The allocated size of the file, and how much of it is in use, in
     *  bytes. */
    std::size_t size() const noexcept
    {
        return allocated;
    }
    std::size_t usedSize() const noexcept;

    /** Whether the file was removed, so that no reader finds it. */
    bool isRemoved() const noexcept;

    /** Removes the file. No reader finds records that are written
     *  afterwards. */
    void unlink() noexcept;

    /** Closes the segment of the parent process, in a child of fork(): while
     *  the child has the file open, the lock stays and the parent counts as
     *  alive. */
    void abandon() noexcept;

    /** Makes the records placeholders: they count only at paths where no other
     *  process has a record. */
    void makePlaceholders() noexcept;

    /** Puts a record into a free slot.
     *
     *  @return the slot
     *  @throws std::system_error when there is no room; then nothing is
     *          changed */
    uint32_t add(const NewRecord& record);

    /** Puts a record into a slot, replacing the one that is there.
     *
     *  @throws as add() */
    void putAt(uint32_t slot, const NewRecord& record);

    /** Replaces a record by one of the same kind and path. At any moment
     *  readers find one of the two.
     *
     *  @throws as add() */
    void replace(uint32_t slot, const NewRecord& record);

    /** Changes the payload of a record, but not its live value.
     *
     *  @throws as add() */
    void setPayload(uint32_t slot, std::string_view payload);

    /** Changes the live value of a record. Cannot fail for lack of room. */
    void setLive(uint32_t slot, uint32_t value) noexcept;

    /** Removes the record of a slot, if there is one. Cannot fail for lack of
     *  room. */
    void remove(uint32_t slot) noexcept;

    /** Notifies the watchers of the file's folder of a change. */
    void tellWatchers() noexcept;

    /** The payload of a record, valid until the next change. */
    std::string_view readPayload(uint32_t slot) const;

    /** The live value of a record. */
    uint32_t readLive(uint32_t slot) const;

    /** When a record was created, as NewRecord::created. */
    uint64_t readCreation(uint32_t slot) const;

  private:
    void create();
    void leaveStandardStreams();
    void map();
    void discard() noexcept;
    SegmentHeader& header() const;
    Slot& slotAt(uint32_t slot) const;
    SlotHash& hashAt(uint32_t slot) const;
    std::string_view readPath(const Place& place) const;
    Place findPlace(uint32_t slot) const;
    char* blockAt(const Place& place) const;

    void reachSlot(uint32_t slot);
    Place writeRecord(uint32_t slot, const NewRecord& record);
    void fill(uint32_t slot, const NewRecord& record);
    std::size_t extend(std::size_t size);
    void allocate(std::size_t size);
    Place takeBlock(std::size_t size);
    void giveBack(const Place& place) noexcept;
    void countChange() noexcept;

    std::filesystem::path name;
    std::filesystem::path hiddenName;
    FileDescriptor file;
    std::size_t capacity;
    char* begin = nullptr;
    /** Where the unused space begins, in bytes. */
    std::size_t end = firstTable;
    /** How many bytes of the file have blocks in the filesystem. */
    std::size_t allocated = 0;
    /** Lists of free blocks by their sizes in units. A value is the first block
     *  of a list; each block begins with the next one; 0 ends the list. */
    std::map<uint16_t, uint32_t> freeBlocks;
    /** List of free slots: the first one plus 1, or 0. Slot::signature of a
     *  free slot is the next one in the same form. */
    uint64_t freeSlots = 0;
    bool published = false;
};

} // namespace healthintf::host
