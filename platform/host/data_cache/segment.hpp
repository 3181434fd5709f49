#pragma once

/** @file Writes a segment of this process. */

#include "../storage/file_descriptor.hpp"
#include "segment_format.hpp"

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <map>
#include <string_view>

namespace healthintf::host
{

/** A record to write; the texts are the caller's. */
struct NewRecord
{
    RecordKind kind;
    std::string_view path;
    std::string_view payload;
    uint32_t live = 0;
    /** When it was made, in nanoseconds since boot; 0 for now. */
    uint64_t created = 0;
};

/** A segment that this process writes, and nobody else.
 *
 *  The file is made under a name that readers pass over, with its lock held,
 *  and gets its own by publish(). It stays when the object goes. A caller uses
 *  either add() or putAt(), not both. Not thread-safe. */
class Segment
{
  public:
    /** Makes a segment.
     *
     *  @param[in] path the file, whose place this takes by publish()
     *  @param[in] capacity the size in bytes that the file may grow to
     *  @throws std::system_error when it cannot be made */
    Segment(const std::filesystem::path& path, std::size_t capacity);
    ~Segment();
    Segment(const Segment&) = delete;
    Segment& operator=(const Segment&) = delete;

    /** Gives the file its name: from now on readers find it.
     *
     *  @throws std::system_error when that is not possible */
    void publish();

    /** Whether readers find what was published: the file has its name, and
     *  nobody has cut it. */
    bool isInPlace() const noexcept;

    /** How much space the file has, and how much of it records take, in
     *  bytes. */
    std::size_t size() const noexcept
    {
        return allocated;
    }
    std::size_t usedSize() const noexcept;

    /** Whether somebody has removed the file, so that no reader finds it. */
    bool isRemoved() const noexcept;

    /** Removes the file. Records that are written from now on are nobody's to
     *  read. */
    void unlink() noexcept;

    /** Lets go of what the parent of this process has made. For a child of
     *  fork(): the kernel takes the parent for alive as long as the child has
     *  the file open. */
    void abandon() noexcept;

    /** Lets the records count only where no other process has any. */
    void makePlaceholders() noexcept;

    /** Puts a record into a free slot.
     *
     *  @return the slot
     *  @throws std::system_error when there is no room; nothing is changed
     *          then */
    uint32_t add(const NewRecord& record);

    /** Puts a record into a slot, in the place of one that is there.
     *
     *  @throws as add() */
    void putAt(uint32_t slot, const NewRecord& record);

    /** Puts a record in the place of one of the same kind and path. At every
     *  instant readers find the one or the other.
     *
     *  @throws as add() */
    void replace(uint32_t slot, const NewRecord& record);

    /** Changes the payload of a record and leaves its live value.
     *
     *  @throws as add() */
    void setPayload(uint32_t slot, std::string_view payload);

    /** Changes the live value of a record. Needs no room. */
    void setLive(uint32_t slot, uint32_t value) noexcept;

    /** Removes the record of a slot, if there is one. Needs no room. */
    void remove(uint32_t slot) noexcept;

    /** Lets those who watch the folder of the file know of a change. */
    void tellWatchers() noexcept;

    /** The payload of a record, valid until the next change. */
    std::string_view payloadOf(uint32_t slot) const;

    /** The live value of a record. */
    uint32_t liveOf(uint32_t slot) const;

    /** When a record was made, as NewRecord::created. */
    uint64_t createdOf(uint32_t slot) const;

  private:
    void create();
    void map();
    void discard() noexcept;
    SegmentHeader& header() const;
    Slot& slotAt(uint32_t slot) const;
    SlotHash& hashAt(uint32_t slot) const;
    std::string_view pathOf(const Place& place) const;
    Place placeOf(uint32_t slot) const;
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
    /** Where the space begins that was never used, in bytes. */
    std::size_t end = firstTable;
    /** Bytes of the file that have their blocks on the filesystem. */
    std::size_t allocated = 0;
    /** The first free block of each size, in units; each begins with the number
     *  of the next, and 0 is none. */
    std::map<uint16_t, uint32_t> freeBlocks;
    /** The first free slot, plus 1; Slot::signature of each is that of the
     *  next. */
    uint64_t freeSlots = 0;
    bool published = false;
};

} // namespace healthintf::host
