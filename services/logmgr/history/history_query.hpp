// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file What somebody wants to read of the history. */

#include "record.hpp"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace healthintf::history
{

/** What records to read. */
struct HistoryQuery
{
    /** The first sequence number; with backwards the last one. */
    uint64_t from = 0;
    bool backwards = false;
    /** The most records of the answer. */
    std::size_t limit = 0;
    /** A key; those below it belong to it. Empty for all. */
    std::string component = {};
    /** Empty for all. */
    std::set<Kind> kinds = {};
    /** Empty for all. */
    std::set<uint32_t> severities = {};
    std::string messageId = {};
    /** Milliseconds since the epoch; since is the first one of interest, until
     *  the first one that is not. */
    std::optional<int64_t> since = {};
    std::optional<int64_t> until = {};
};

/** Some of the records that somebody wants. */
struct HistoryPage
{
    std::vector<Record> records;
    /** From where to read on; 0 when there are no more. */
    uint64_t next = 0;
};

} // namespace healthintf::history
