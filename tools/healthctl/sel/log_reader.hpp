// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Reads the entries of the log, or of its mirror. */

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
    /** Whether they are from the mirror in the data cache, which may lack
     *  changes, instead of the log. */
    bool mirror = false;
    /** The identifier of the last entry, also of one that cannot be read;
     *  0 without one. */
    uint16_t last = 0;

    /** The word for where they are from. */
    const char* source() const
    {
        return mirror ? "mirror" : "log";
    }
};

/** Reads the log from logmgr, or its mirror when logmgr is not running. Says so
 *  on standard error, and how many entries cannot be read.
 *
 *  @throws Error when neither has entries */
ReadLog readLog();

/** Reads the mirror; no entries when it cannot be read. */
std::vector<SELEntry_gen> readMirror();

} // namespace healthintf::healthctl
