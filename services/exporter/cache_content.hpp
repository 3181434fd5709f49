// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Reads the data cache for a scrape. */

#include "snapshot.hpp"

#include <optional>
#include <set>
#include <string>
#include <vector>

namespace healthintf::exporter
{

/** The nodes and faults of all processes; nothing when the data cache cannot
 *  be read. */
std::optional<CacheContent> readCacheContent();

/** The keys of all nodes, and of faults that have no node. */
std::set<std::string> listComponents(const CacheContent& cache);

/** The object paths of all fault entries; empty also when the data cache
 *  cannot be read. */
std::vector<std::string> readFaultEntries();

} // namespace healthintf::exporter
