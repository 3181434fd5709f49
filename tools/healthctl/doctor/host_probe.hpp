// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Looks at the host platform's folders and records. */

#include "file_findings.hpp"
#include "tree_findings.hpp"

#include <sys/types.h>

#include <set>
#include <string>

namespace healthintf::healthctl
{

/** Looks at the data cache. */
CacheState probeCache();

/** The keys of all nodes; none when the data cache cannot be read. */
std::set<std::string> probeNodes();

/** Looks for keys that several processes hold; nothing when the data cache
 *  cannot be read. */
Findings probeSharedKeys();

/** Looks whether a user may write where the log is kept.
 *
 *  @param[in] user whom logmgr runs as */
StateFolder probeStateFolder(uid_t user);

LibraryState probeLibrary();

} // namespace healthintf::healthctl
