// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Reads the segments of other processes, which may contain anything. */

#include "../storage/file_descriptor.hpp"
#include "process_identity.hpp"
#include "record_query.hpp"
#include "segment_copy.hpp"
#include "segment_format.hpp"

#include <sys/types.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>
#include <utility>
#include <vector>

namespace healthintf::host
{

/** How much is read of the segments of one user, so that no user can fill a
 *  reader's memory or keep it busy. */
struct ReadingBudget
{
    std::size_t segments = 1024;
    std::size_t slots = std::size_t{1} << 20;
    std::size_t records = std::size_t{1} << 18;
    std::size_t bytes = 256UL << 20;
    /** Repeated reads of records that changed while they were read. */
    std::size_t repetitions = 10'000;
};

/** A segment that is open for reading. Whatever its owner does to it, also
 *  during a call, can only make records missing from the results. */
class SegmentReader
{
  public:
    /** Opens a segment.
     *
     *  @param[in] folder an open folder
     *  @param[in] name the file in it; a link is not followed
     *  @return nothing when it is not a readable segment */
    static std::optional<SegmentReader> open(int folder, const char* name);

    /** Whether the process that wrote it lives. */
    bool isOwned() const;

    /** Prepares an open segment for another query: reads its header again, and
     *  copies the records of a small segment that has not changed since the
     *  last query.
     *
     *  @param[in,out] room how many bytes copies may take; reduced by this copy
     *  @return whether the segment can be read */
    bool refresh(std::size_t& room);

    /** The user who owns the file. */
    uid_t user() const
    {
        return userId;
    }

    /** The file's inode number, which is the same for all names of the file. */
    ino_t inode() const
    {
        return number;
    }

    /** The process that wrote the segment, by its own account. */
    ProcessIdentity owner() const
    {
        return {.pid = header().pid, .startTime = header().startTime};
    }

    /** The name of that process, by its own account; any bytes, at most 16.
     *  Empty when it is not known. */
    std::string_view processName() const;

    /** Whether its records are placeholders. */
    bool hasPlaceholders() const
    {
        return header().placeholders != 0;
    }

    /** Changes with each change of the records. */
    uint64_t generation() const
    {
        return header().generation;
    }

    /** The bytes in use and the capacity, by the owner's account. */
    uint64_t usedBytes() const
    {
        return header().usedBytes;
    }
    uint64_t capacity() const
    {
        return header().capacity;
    }

    /** Visits the matching records in no particular order.
     *
     *  @param[in,out] budget how much may be read; reduced by what was read */
    Coverage read(const RecordQuery& query, ReadingBudget& budget,
                  const VisitReadRecord& visit) const;

    /** Visits the record of one slot.
     *
     *  @return whether there is a record */
    bool readSlot(uint32_t slot, ReadingBudget& budget,
                  const VisitReadRecord& visit) const;

  private:
    /** A slot whose record may match. */
    struct Candidate
    {
        uint32_t slot = 0;
        Place place;
        LiveValue live;
    };

    /** Slots whose records are to be read. */
    struct Selection
    {
        std::vector<Candidate> candidates;
        /** Slots that were changed while they were read. */
        std::vector<uint32_t> torn;
    };

    /** The start of a segment, which is read at once: the header and the first
     *  table with its hashes. */
    struct Begin
    {
        SegmentHeader header;
        std::array<SlotHash, slotsOfFirstTable> hashes;
        std::array<Slot, slotsOfFirstTable> slots;
    };
    static_assert(offsetof(Begin, hashes) == firstTable);
    static_assert(sizeof(Begin) == firstTable + countTableBytes(0));

    static bool readBegin(int file, Begin& begin);

    SegmentReader(FileDescriptor opened, const Begin& begin, uid_t user,
                  ino_t inode) :
        file(std::move(opened)),
        start(begin), userId(user), number(inode)
    {}

    void copyRecords();
    Coverage readFile(const RecordQuery& query, ReadingBudget& budget,
                      const VisitReadRecord& visit) const;
    bool fetch(void* into, std::size_t size, uint64_t at) const;
    template <typename Element>
    bool fetchTablePart(std::span<Element> elements, std::size_t table,
                        std::size_t index) const;
    template <typename Element, typename Visit>
    void forEachPiece(std::size_t count, Visit&& visit) const;
    Coverage readSlots(std::size_t count, const RecordQuery& query,
                       ReadingBudget& budget,
                       const VisitReadRecord& visit) const;
    Coverage readByHash(std::size_t count, const RecordQuery& query,
                        ReadingBudget& budget,
                        const VisitReadRecord& visit) const;
    bool hasKind(RecordKind kind, std::size_t count) const;
    static void select(const Slot& slot, uint32_t number,
                       const RecordQuery& query, ReadingBudget& budget,
                       Selection& selection, Coverage& coverage);
    void readSelected(Selection& selection, const RecordQuery& query,
                      ReadingBudget& budget,
                      const VisitReadRecord& visit) const;
    static std::size_t countRun(std::span<const Candidate> candidates);
    void readRun(std::span<const Candidate> run, const RecordQuery& query,
                 std::vector<uint32_t>& torn,
                 const VisitReadRecord& visit) const;
    std::optional<Candidate> candidateAt(uint32_t slot) const;
    bool readAgain(uint32_t slot, ReadingBudget& budget,
                   const VisitReadRecord& visit) const;

    const SegmentHeader& header() const
    {
        return start.header;
    }

    FileDescriptor file;
    Begin start;
    uid_t userId;
    ino_t number;
    std::optional<SegmentCopy> copy;
};

} // namespace healthintf::host
