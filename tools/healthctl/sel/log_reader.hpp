#pragma once

/** @file The log's entries, from where they are to be had. */

#include <platform/data_abstraction/sel.hpp>

#include <vector>

namespace healthintf::healthctl
{

/** Puts entries that are sorted by identifier into the order in which they were
 *  stored: the identifiers of a log that has wrapped begin again with 1. */
std::vector<SELEntry_gen> inLogOrder(std::vector<SELEntry_gen> entries);

/** Reads the log, the oldest entry first: from the data cache, which costs no
 *  call, or from the log manager when there is nothing, since it may not have
 *  started yet.
 *
 *  @throws Error when neither has it */
std::vector<SELEntry_gen> readLog();

} // namespace healthintf::healthctl
