// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Tells a fault from a later one whose entry has the same path. */

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace healthintf::healthmgr
{

/** How many bytes of a message's identifier are kept. */
inline constexpr std::size_t maxMessageId = 1024;

/** What a fault entry is, besides its path. */
struct FaultIdentity
{
    /** The message's identifier, safe to print. */
    std::string messageId;
    /** When the fault was added, in seconds since the epoch. */
    uint64_t timestamp = 0;
    /** The process that holds its component, and when that started, in clock
     *  ticks since the boot. */
    uint32_t pid = 0;
    uint64_t startTime = 0;

    friend bool operator==(const FaultIdentity&,
                           const FaultIdentity&) = default;
};

/** Faults by the paths of their entries. */
using FaultIdentities = std::map<std::string, FaultIdentity>;

/** Reads from the data cache which of these fault entries there are.
 *
 *  @return nothing when the data cache cannot be read */
std::optional<FaultIdentities>
readIdentities(const std::vector<std::string>& paths);

} // namespace healthintf::healthmgr
