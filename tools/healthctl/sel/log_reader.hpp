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
    /** The identifier of the last entry, also of one that makes no sense; 0
     *  without one. */
    uint16_t last = 0;

    /** The word for where they are from. */
    const char* source() const
    {
        return mirror ? "mirror" : "log";
    }
};

/** Reads the log from the log manager, or its mirror when there is no log
 *  manager. That is said on standard error, as is how many entries make no
 *  sense and are not among those that are read.
 *
 *  @throws Error when neither has entries */
ReadLog readLog();

/** Reads the mirror; no entries when it is not to be had. */
std::vector<SELEntry_gen> readMirror();

} // namespace healthintf::healthctl
