// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Reads when a process started. */

#include <cstdint>
#include <optional>
#include <sstream>
#include <string>

namespace healthintf::host
{

/** The clock ticks between boot and the start of a process.
 *
 *  @param[in] stat the text of its file /proc/PID/stat
 *  @return nothing when the text has another form */
inline std::optional<uint64_t> parseStartTime(const std::string& stat)
{
    // The name is in parentheses and may contain blanks and parentheses.
    const auto nameEnd = stat.rfind(')');
    if (nameEnd == std::string::npos)
    {
        return std::nullopt;
    }
    std::istringstream fields(stat.substr(nameEnd + 1));
    // proc(5): the name is field 2, the start time field 22.
    constexpr int fieldsBetween = 19;
    std::string skipped;
    for (int i = 0; i < fieldsBetween; ++i)
    {
        fields >> skipped;
    }
    uint64_t startTime = 0;
    fields >> startTime;
    return fields ? std::optional(startTime) : std::nullopt;
}

} // namespace healthintf::host
