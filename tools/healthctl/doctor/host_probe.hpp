// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Looks at the host platform's folders and records. */

#include "file_findings.hpp"
#include "kept_folder.hpp"
#include "tree_findings.hpp"

#include <sys/types.h>

#include <optional>
#include <set>
#include <string>
#include <vector>

namespace healthintf::healthctl
{

/** Looks at the data cache. */
CacheState probeCache();

/** The keys of all nodes; none when the data cache cannot be read. */
std::set<std::string> probeNodes();

/** The components that have lost their monitors; none when the data cache
 *  cannot be read. */
std::vector<LostComponent> probeLostMonitors();

/** Looks for keys that several processes hold; nothing when the data cache
 *  cannot be read. */
Findings probeSharedKeys();

/** Looks whether a service may write where it keeps something.
 *
 *  @param[in] service the user that the service runs as. While it does not run,
 *             it is taken to be the folder's owner: whoever asks need not be
 *             allowed to start it */
StateFolder probeStateFolder(const KeptFolder& kept,
                             std::optional<uid_t> service);

LibraryState probeLibrary();

} // namespace healthintf::healthctl
