// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file The copy of the log that other processes read in the data cache. */

#include "data_cache/sel_entry_cache.hpp"
#include "event_log.hpp"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <utility>

namespace healthintf::logmgr
{

/** Keeps the copy of the log in the data cache up to date. A failure is logged,
 *  and the copy is repaired later from the log. */
class Mirror
{
  public:
    /** Does not touch an existing copy before rebuild().
     *
     *  @param[in] log must outlive this object */
    explicit Mirror(const EventLog& log);

    /** Copies an entry that was added to the log. */
    void addEntry(const EventLog::Addition& addition);

    /** Replaces the copy by one of the whole log.
     *
     *  @return whether it succeeded */
    bool rebuild();

    /** Replaces the copy when somebody removed or replaced it, when the log
     * holds something else, or when most of the copy's space is free. */
    void check();

    /** Sets a function that is called whenever the copy could not be updated,
     *  so that rebuild() is called later. */
    void onFailure(std::function<void()> repair)
    {
        requestRepair = std::move(repair);
    }

  private:
    bool mirrorsAnotherLog() const;
    bool isLost() const;
    int replaceMirror();
    void shrink();
    void noteResult(int result);

    const EventLog& events;
    host::SelMirror mirror;
    /** Whether the copy lacks entries, so that only rebuild() completes it. */
    bool incomplete = true;
    /** The sequence number of the next entry, if there is a copy. */
    uint64_t next = 0;
    /** The log's generation then. */
    uint64_t generation = 0;
    /** How often the log's file had been opened then. */
    uint64_t openings = 0;
    bool failing = false;
    /** A copy of up to so many bytes stays even if most of it is free. */
    std::size_t shrinkThreshold;
    std::function<void()> requestRepair;
};

} // namespace healthintf::logmgr
