#pragma once

/** @file Who the records of the data cache belong to, for those who look. */

#include "process_identity.hpp"

#include <platform/api.h>

#include <map>
#include <string>

namespace healthintf::host
{

/** Processes by the object paths of their records. */
using RecordOwners = std::map<std::string, ProcessIdentity>;

/** Finds the owners of all health records.
 *
 *  @param[out] owners replaced by what is found
 *  @return 0, or the data cache's error number */
PLATFORM_API int listNodeOwners(RecordOwners& owners);

/** Finds the owners of all fault entries, as listNodeOwners(). */
PLATFORM_API int listEntryOwners(RecordOwners& owners);

} // namespace healthintf::host
