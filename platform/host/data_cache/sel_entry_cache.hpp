#pragma once

/** @file The mirror of the System Event Log in the data cache, as the log
 *  manager writes it. What it mirrors lasts and belongs to no process, so that
 *  each call takes over what is there, whoever has put it there. */

#include <platform/api.h>
#include <platform/data_abstraction/sel.hpp>

#include <cstdint>
#include <functional>
#include <vector>

namespace healthintf::host
{

/** Adds an entry in one step with the removal of others.
 *
 *  @param[in] removed identifiers of entries that go first, as far as they are
 *             there
 *  @return 0, or the data cache's error number; nothing is changed then */
PLATFORM_API int addSelEntry(const SELEntryProperties& entry,
                             const std::vector<uint16_t>& removed = {});

/** Takes one entry. */
using SelEntrySink = std::function<void(const SELEntryProperties& entry)>;

/** Puts other entries in the place of all that are there, in one step.
 *
 *  @param[in] tellAll hands each of them to the sink; may be called again
 *  @return 0, or the data cache's error number; nothing is changed then */
PLATFORM_API int
replaceSelEntries(const std::function<void(const SelEntrySink& put)>& tellAll);

/** Removes every entry.
 *
 *  @return 0, or the data cache's error number; nothing is changed then */
PLATFORM_API int removeSelEntries();

} // namespace healthintf::host
