// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Points in time and lengths of time as operators write them on the
 *  command line. */

#include <cstdint>
#include <ctime>
#include <optional>
#include <string>

namespace healthintf::healthctl
{

/** The forms of a time, for the --help of commands that take one. */
inline constexpr const char* timeArgumentHelp =
    "TIME is one of\n"
    "  2026-01-31, '2026-01-31 13:45', '2026-01-31 13:45:10'  in local time\n"
    "  13:45, 13:45:10                                        today\n"
    "  now, today, yesterday                                  a day begins at "
    "00:00\n"
    "  90s, 10m, 2h, 3d, 1w                                   that long ago\n"
    "  @1700000000                                            seconds since "
    "1970\n";

/** Reads a time in one of the forms of timeArgumentHelp.
 *
 *  @param[in] now seconds since the epoch; lengths of time count back from
 *             here, and days and times of day from its day
 *  @return seconds since the epoch
 *  @throws std::invalid_argument when the text has no such form, and for a
 *          length of more than ten years */
int64_t parseTimeArgument(const std::string& text, std::time_t now);

/** Reads a length of time, such as 30s, 10m, 2h, 7d or 1w.
 *
 *  @return seconds; ten years at most
 *  @throws std::invalid_argument when the text is none */
uint32_t parseSpan(const std::string& text);

/** The time between two moments, both included; without one of them it has no
 *  such end. Seconds since the epoch. */
struct Period
{
    std::optional<int64_t> since = std::nullopt;
    std::optional<int64_t> until = std::nullopt;

    bool contains(int64_t time) const
    {
        return (!since || time >= *since) && (!until || time <= *until);
    }
};

} // namespace healthintf::healthctl
