// SPDX-License-Identifier: Apache-2.0
#include "time_text.hpp"

#include <array>
#include <ctime>

namespace healthintf::healthctl
{
namespace
{

/** A point in time in words, or the bare number where the calendar ends. */
std::string timeText(uint64_t seconds, const char* format,
                     std::tm* (*broken)(const std::time_t*, std::tm*))
{
    // The end of the year 9999: whatever clock told more, it was wrong.
    constexpr uint64_t last = 253'402'300'799;
    const auto time = static_cast<std::time_t>(seconds);
    std::tm parts{};
    std::array<char, 32> text{};
    if (seconds > last || broken(&time, &parts) == nullptr)
    {
        return std::to_string(seconds);
    }
    std::strftime(text.data(), text.size(), format, &parts);
    return text.data();
}

} // namespace

std::string localTime(uint64_t seconds)
{
    return timeText(seconds, "%Y-%m-%d %H:%M:%S", localtime_r);
}

std::string briefTime(uint64_t seconds, uint64_t now)
{
    constexpr const char* day = "%Y-%m-%d";
    const std::string then = timeText(seconds, day, localtime_r);
    return then == timeText(now, day, localtime_r)
               ? timeText(seconds, "%H:%M:%S", localtime_r)
               : then;
}

std::string utcTime(uint64_t seconds)
{
    return timeText(seconds, "%Y-%m-%dT%H:%M:%SZ", gmtime_r);
}

} // namespace healthintf::healthctl
