// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file The mirror of the System Event Log, from which all processes read the
 *  log's entries. logmgr writes it, in a folder that only its user can write.
 *  It stays when logmgr ends, as the log does. */

#include <platform/api.h>
#include <platform/data_abstraction/sel.hpp>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

namespace healthintf::host
{

class Segment;

/** Writes the mirror of the System Event Log. Every failure becomes an error
 *  number; a failure that differs from the last one is logged. */
class PLATFORM_API SelMirror
{
  public:
    SelMirror();
    ~SelMirror();
    SelMirror(const SelMirror&) = delete;
    SelMirror& operator=(const SelMirror&) = delete;

    /** Puts one entry with its sequence number, which gives the order of the
     *  log: record identifiers start again at 1. */
    using Sink =
        std::function<void(uint64_t sequence, const SELEntryProperties& entry)>;

    /** Replaces all entries by others, for readers in one step.
     *
     *  @param[in] putAll calls the sink for each new entry
     *  @return 0, or an error number; then nothing is changed */
    int replace(const std::function<void(const Sink& put)>& putAll);

    /** Whether readers still find the mirror, whose file may have been
     *  removed. */
    bool isInPlace() const;

    /** The size of the mirror in bytes. */
    std::size_t size() const;

    /** Whether entries take less than a quarter of the mirror: free space that
     *  does not fit new entries stays unused until replace(). */
    bool isMostlyFree() const;

    /** Adds an entry and removes others. replace() must have succeeded before,
     *  and isInPlace() be true.
     *
     *  @param[in] removed identifiers of the entries to remove; unknown ones
     *             are ignored
     *  @return 0, or an error number; then nothing is changed */
    int add(uint64_t sequence, const SELEntryProperties& entry,
            const std::vector<uint16_t>& removed = {});

  private:
    std::unique_ptr<Segment> segment;
};

/** Reads the mirror.
 *
 *  @param[out] entries its entries, in the order of the log; none without a
 *              mirror
 *  @return a DataAbstraction::ReadResult, or an error number */
PLATFORM_API long readSelMirror(std::vector<SELEntryProperties>& entries);

} // namespace healthintf::host
