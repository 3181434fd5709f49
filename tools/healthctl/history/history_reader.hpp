// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Reads chosen records of the history, page by page. */

#include "../time_argument.hpp"
#include "history_record.hpp"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace healthintf::healthctl
{

/** Which records to choose; what is empty chooses all. */
struct HistoryFilter
{
    /** A component's key; those below it belong to it. */
    std::string component = {};
    std::set<std::string> kinds = {};
    /** Health values. */
    std::set<uint32_t> severities = {};
    /** Identifiers of messages as isSameMessage() takes them. */
    std::vector<std::string> messages = {};
    Period period = {};
};

/** Some records, and from where to read on. */
struct HistoryPage
{
    std::vector<HistoryRecord> records;
    /** The sequence number to read on from; 0 when there are no more. */
    uint64_t next = 0;
};

/** Reads the records that a filter chooses, of which never more than a page is
 *  held. */
class HistoryReader
{
  public:
    /** Reads a page from a sequence number on, perhaps backwards. It need not
     *  mind the filter's messages.
     *
     *  @throws Error when that is not possible */
    using ReadPage = std::function<HistoryPage(uint64_t from, bool backwards,
                                               const HistoryFilter& filter)>;

    /** Takes a page's records that are chosen.
     *
     *  @return whether to read on */
    using TakeRecords =
        std::function<bool(const std::vector<HistoryRecord>& records)>;

    HistoryReader(ReadPage readPage, HistoryFilter filter);

    /** Reads forwards, the oldest first.
     *
     *  @param[in] from the lowest sequence number
     *  @throws Error, also when a page makes no sense */
    void readForwards(uint64_t from, const TakeRecords& take) const;

    /** Reads backwards, the newest first. */
    void readBackwards(const TakeRecords& take) const;

    /** The sequence number from which on there are so many chosen records;
     *  nothing when there are none. */
    std::optional<uint64_t> findLast(std::size_t count) const;

  private:
    void read(uint64_t from, bool backwards, const TakeRecords& take) const;
    void choose(std::vector<HistoryRecord>& records) const;

    ReadPage readPage;
    HistoryFilter filter;
};

} // namespace healthintf::healthctl
