#pragma once

/** @file Remembers the records of a small segment of another process, so that
 *  a query of one that has not changed reads no file. */

#include "record_query.hpp"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace healthintf::host
{

/** The records of one segment, sound ones only. */
class SegmentCopy
{
  public:
    /** What a segment may have in use to be copied, in bytes. */
    static constexpr std::size_t largest = 128UL << 10;
    static constexpr std::size_t mostRecords = 1024;

    /** Adds a record; its texts are copied. */
    void add(const ReadRecord& record);

    /** Tells that all records were added. */
    void close();

    /** How many bytes of memory it takes, about. */
    std::size_t size() const
    {
        return records.capacity() * sizeof(Copied) + texts.capacity();
    }

    /** Whether the copy holds all records: one of a large segment does not. */
    bool isWhole() const
    {
        return whole;
    }

    /** Visits the records that are wanted, in the order of their paths. */
    Coverage read(const RecordQuery& query, const VisitReadRecord& visit) const;

  private:
    struct Copied
    {
        uint64_t created;
        uint32_t live;
        RecordKind kind;
        /** Where its path begins in the texts; the payload follows. */
        uint32_t begin;
        uint32_t pathSize;
        uint32_t payloadSize;
    };

    std::string_view pathOf(const Copied& record) const
    {
        return {texts.data() + record.begin, record.pathSize};
    }

    std::vector<Copied> records;
    /** One behind the other, as a query reads them all. */
    std::string texts;
    bool whole = false;
};

} // namespace healthintf::host
