// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Copies the records of a small segment, so that a query reads no file
 *  while the segment does not change. */

#include "record_query.hpp"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace healthintf::host
{

/** The valid records of one segment. */
class SegmentCopy
{
  public:
    /** The most used bytes of a segment that is copied. */
    static constexpr std::size_t largest = 128UL << 10;
    static constexpr std::size_t mostRecords = 1024;

    /** Adds a record; its texts are copied. */
    void add(const ReadRecord& record);

    /** Completes the copy after all records were added. */
    void close();

    /** About how many bytes of memory the copy takes. */
    std::size_t size() const
    {
        return records.capacity() * sizeof(Copied) + texts.capacity();
    }

    /** Whether the copy is complete: that of a large segment is empty
     *  instead. */
    bool isWhole() const
    {
        return whole;
    }

    /** Visits the matching records in the order of their paths. */
    Coverage read(const RecordQuery& query, const VisitReadRecord& visit) const;

  private:
    struct Copied
    {
        uint64_t created;
        uint32_t live;
        RecordKind kind;
        /** Where the path begins in the texts; the payload follows it. */
        uint32_t begin;
        uint32_t pathSize;
        uint32_t payloadSize;
    };

    std::string_view readPath(const Copied& record) const
    {
        return {texts.data() + record.begin, record.pathSize};
    }

    std::vector<Copied> records;
    /** Paths and payloads one after the other, because a query reads them
     *  all. */
    std::string texts;
    bool whole = false;
};

} // namespace healthintf::host
