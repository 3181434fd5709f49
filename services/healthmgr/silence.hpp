// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file A silence: faults that stay hidden for a time. */

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>

namespace healthintf::healthmgr
{

/** Which faults are hidden: one of these, as the hide signal has it. */
struct SilenceTarget
{
    /** The key of the component whose faults they are; empty for none. */
    std::string key;
    /** Empty for none. */
    std::string sensorPath;
    /** The sensor's IPMI number; 0 for none. */
    uint32_t sensorNumber = 0;

    friend bool operator==(const SilenceTarget&,
                           const SilenceTarget&) = default;
};

/** How many bytes a sensor's path may have: components obey the hide signal
 *  with paths of up to so many. */
inline constexpr std::size_t maxSilencedPath = 1024;

/** How long a silence may be, in seconds: 366 days. */
inline constexpr uint32_t longestSilence = 366 * 24 * 60 * 60;

/** What is known of a silence. */
struct Silence
{
    SilenceTarget target;
    std::string comment;
    /** Who began it. */
    uint32_t user = 0;
    /** How long it is, in seconds: 1 to longestSilence. */
    uint32_t seconds = 0;
    /** When it ends by the time of day, in seconds since the epoch. */
    int64_t until = 0;
    /** The boot that "ends" is of, by its name. */
    std::string boot;
    /** When it ends, in microseconds since that boot. */
    int64_t ends = 0;
    /** Whether it began before that boot: then the time of day counts, and
     *  "ends" is when it ends at the latest. */
    bool byWall = false;

    /** When it began by the time of day. */
    int64_t since() const
    {
        return until - seconds;
    }

    friend bool operator==(const Silence&, const Silence&) = default;
};

/** Silences by their numbers, which begin with 1. */
using SilenceMap = std::map<uint64_t, Silence>;

/** Why no silence may have a target; empty when one may. */
std::string explainInvalidTarget(const SilenceTarget& target);

/** Why there may be no silence with this target, length and comment; empty when
 *  there may be one. */
std::string explainInvalidSilence(const Silence& silence);

/** Whether a target has a fault.
 *
 *  @param[in] fault what would name the fault alone: the key of its component,
 *             and its sensor's path and number */
bool covers(const SilenceTarget& target, const SilenceTarget& fault);

/** The key of the component of a fault entry's path. */
std::string componentOf(const std::string& entryPath);

/** Names a target for a log line. */
std::string describe(const SilenceTarget& target);

} // namespace healthintf::healthmgr
