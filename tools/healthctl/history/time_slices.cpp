// SPDX-License-Identifier: Apache-2.0
#include "time_slices.hpp"

#include <algorithm>
#include <array>
#include <ctime>

namespace healthintf::healthctl
{
namespace
{

constexpr int64_t secondsOfMinute = 60;
constexpr int64_t secondsOfHour = 60 * secondsOfMinute;
constexpr int64_t secondsOfDay = 24 * secondsOfHour;

constexpr std::array usualLengths{
    int64_t{1},           int64_t{5},           int64_t{10},
    int64_t{30},          secondsOfMinute,      2 * secondsOfMinute,
    5 * secondsOfMinute,  10 * secondsOfMinute, 15 * secondsOfMinute,
    30 * secondsOfMinute, secondsOfHour,        2 * secondsOfHour,
    3 * secondsOfHour,    6 * secondsOfHour,    12 * secondsOfHour,
    secondsOfDay,         2 * secondsOfDay,     7 * secondsOfDay,
    28 * secondsOfDay};

/** How many seconds the operator's clock is ahead of UTC. */
int64_t findOffset(int64_t seconds)
{
    const auto time = static_cast<std::time_t>(seconds);
    std::tm parts{};
    return localtime_r(&time, &parts) != nullptr ? parts.tm_gmtoff : 0;
}

int64_t roundDown(int64_t number, int64_t unit)
{
    const int64_t rest = number % unit;
    return number - (rest < 0 ? rest + unit : rest);
}

/** Slices of a length that contain a period. */
TimeSlices cover(int64_t since, int64_t until, int64_t length)
{
    const int64_t offset = findOffset(since);
    TimeSlices slices;
    slices.begin = roundDown(since + offset, length) - offset;
    slices.length = length;
    slices.count =
        static_cast<std::size_t>((until - slices.begin + length - 1) / length);
    return slices;
}

std::string timeText(int64_t seconds, const char* format)
{
    const auto time = static_cast<std::time_t>(seconds);
    std::tm parts{};
    std::array<char, 16> text{};
    if (localtime_r(&time, &parts) != nullptr)
    {
        std::strftime(text.data(), text.size(), format, &parts);
    }
    return text.data();
}

/** The least usual distance of the labels at which they do not touch. */
int64_t findDistance(int64_t length, int64_t columns)
{
    const auto* const found =
        std::ranges::find_if(usualLengths, [&](int64_t usual) {
            return usual >= length * columns && usual % length == 0;
        });
    return found != usualLengths.end() ? *found : length * columns;
}

} // namespace

TimeSlices makeSlices(int64_t since, int64_t until, std::size_t most)
{
    for (const int64_t length : usualLengths)
    {
        const TimeSlices slices = cover(since, until, length);
        if (slices.count <= most)
        {
            return slices;
        }
    }
    const auto columns = static_cast<int64_t>(most - 1);
    const int64_t days = (until - since) / columns / secondsOfDay + 1;
    return cover(since, until, days * secondsOfDay);
}

std::string makeAxis(const TimeSlices& slices)
{
    // Wide enough for "23:15" and "11-23" with two blanks.
    constexpr int64_t columnsOfLabel = 7;
    const int64_t distance = findDistance(slices.length, columnsOfLabel);
    const char* const format = distance >= secondsOfDay ? "%m-%d" : "%H:%M";
    std::string axis;
    for (std::size_t i = 0; i < slices.count; ++i)
    {
        const int64_t time =
            slices.begin + static_cast<int64_t>(i) * slices.length;
        const int64_t behind = time + findOffset(time) -
                               roundDown(time + findOffset(time), distance);
        const std::string label = timeText(time, format);
        if (behind < slices.length && i >= axis.size() &&
            i + label.size() <= slices.count)
        {
            axis += std::string(i - axis.size(), ' ') + label + " ";
        }
    }
    axis.erase(axis.find_last_not_of(' ') + 1);
    return axis;
}

} // namespace healthintf::healthctl
