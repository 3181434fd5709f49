#pragma once

/** @file The log's entries, from where they are to be had. */

#include <platform/data_abstraction/sel.hpp>

#include <cstdint>
#include <vector>

namespace healthintf::healthctl
{

/** What was read of the log. */
struct ReadLog
{
    /** The oldest first. */
    std::vector<SELEntry_gen> entries;
    /** Whether they are of the log's mirror in the data cache, which may lack
     *  changes, and not of the log. */
    bool mirror = false;

    /** The identifier of the last entry; 0 without one. */
    uint16_t last() const
    {
        return entries.empty() ? uint16_t{0} : entries.back().recordId();
    }

    /** The word for where they are from. */
    const char* source() const
    {
        return mirror ? "mirror" : "log";
    }
};

/** Reads the log from the log manager, or its mirror when there is no log
 *  manager, which is said on standard error.
 *
 *  @throws Error when neither has entries */
ReadLog readLog();

/** Reads the mirror; no entries when it is not to be had. */
std::vector<SELEntry_gen> readMirror();

} // namespace healthintf::healthctl
