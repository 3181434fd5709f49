#pragma once

/** @file What one scrape has found. */

#include "../common/log_status.hpp"
#include "data_cache/cache_space.hpp"

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>

namespace healthintf::exporter
{

/** Numbers of faults by their health value and whether they are hidden. */
using FaultCounts = std::map<std::pair<uint32_t, bool>, uint64_t>;

/** What the data cache holds. */
struct CacheContent
{
    /** The health of each node, by key. */
    std::map<std::string, uint32_t> health;
    /** The faults of each component, by key; only components with faults. */
    std::map<std::string, FaultCounts> faults;
};

/** What one scrape has found; what could not be found is left out. */
struct Snapshot
{
    std::optional<CacheContent> cache;
    std::optional<host::CacheSpace> space;
    /** Whether the bus answered. */
    bool bus = false;
    /** Whether the health manager answered. */
    bool healthManager = false;
    std::optional<services::LogStatus> log;
    /** The evictions of each component that had some; nothing while they do not
     *  count. */
    std::optional<std::map<std::string, uint64_t>> evictions;
    /** How long it took to find out. */
    double seconds = 0;
};

} // namespace healthintf::exporter
