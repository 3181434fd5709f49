// SPDX-License-Identifier: Apache-2.0
#include "duration_text.hpp"

#include <algorithm>

namespace healthintf::healthctl
{
namespace
{

/** A number of large units and, unless it is 0, one of small units. */
std::string inUnits(int64_t seconds, int64_t large, const char* largeName,
                    int64_t small, const char* smallName)
{
    const int64_t rest = seconds % large / small;
    return std::to_string(seconds / large) + largeName +
           (rest == 0 ? "" : " " + std::to_string(rest) + smallName);
}

} // namespace

std::string durationText(int64_t milliseconds)
{
    constexpr int64_t second = 1000;
    constexpr int64_t minute = 60;
    constexpr int64_t hour = 60 * minute;
    constexpr int64_t day = 24 * hour;
    milliseconds = std::max<int64_t>(milliseconds, 0);
    const int64_t seconds = milliseconds / second;
    if (seconds == 0)
    {
        return std::to_string(milliseconds) + "ms";
    }
    if (seconds < minute)
    {
        return std::to_string(seconds) + "s";
    }
    if (seconds < hour)
    {
        return inUnits(seconds, minute, "m", 1, "s");
    }
    return seconds < day ? inUnits(seconds, hour, "h", minute, "m")
                         : inUnits(seconds, day, "d", hour, "h");
}

} // namespace healthintf::healthctl
