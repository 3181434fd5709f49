// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file The data of one scrape. */

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

/** The content of the data cache. */
struct CacheContent
{
    /** The health of each node, by key. */
    std::map<std::string, uint32_t> health;
    /** The faults of each component, by key; only components with faults. */
    std::map<std::string, FaultCounts> faults;
    /** How many components have lost their monitors. */
    uint64_t lostMonitors = 0;
};

/** The data of one scrape, without what could not be read. */
struct Snapshot
{
    std::optional<CacheContent> cache;
    std::optional<host::CacheSpace> space;
    /** Whether the bus answered. */
    bool bus = false;
    /** Whether healthmgr answered. */
    bool healthmgr = false;
    /** How many silences hide faults, and how many faults are acknowledged. */
    std::optional<uint64_t> silences;
    std::optional<uint64_t> acknowledgements;
    std::optional<services::LogStatus> log;
    /** The evictions of each component that had some; nothing while they are
     *  not counted. */
    std::optional<std::map<std::string, uint64_t>> evictions;
    /** How long the collection took. */
    double seconds = 0;
};

} // namespace healthintf::exporter
