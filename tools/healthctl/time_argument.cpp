// SPDX-License-Identifier: Apache-2.0
#include "time_argument.hpp"

#include <charconv>
#include <optional>
#include <stdexcept>
#include <string_view>

namespace healthintf::healthctl
{
namespace
{

std::optional<int64_t> parseNumber(std::string_view digits)
{
    int64_t number = 0;
    const char* end = digits.data() + digits.size();
    const auto result = std::from_chars(digits.data(), end, number);
    const bool whole = result.ec == std::errc{} && result.ptr == end;
    return whole && number >= 0 ? std::optional(number) : std::nullopt;
}

/** How many seconds a unit has; 0 when there is no such unit. */
constexpr int64_t getSeconds(char unit)
{
    constexpr int64_t minute = 60;
    constexpr int64_t hour = 60 * minute;
    constexpr int64_t day = 24 * hour;
    switch (unit)
    {
        case 's':
            return 1;
        case 'm':
            return minute;
        case 'h':
            return hour;
        case 'd':
            return day;
        case 'w':
            return 7 * day;
        default:
            return 0;
    }
}

/** A length of time: 10m. Ten years are enough for any log. */
std::optional<int64_t> readSpan(const std::string& text)
{
    constexpr int64_t longest = 3660 * getSeconds('d');
    if (text.size() < 2)
    {
        return std::nullopt;
    }
    const auto number =
        parseNumber(std::string_view(text).substr(0, text.size() - 1));
    const int64_t unit = getSeconds(text.back());
    if (!number || unit == 0 || *number > longest / unit)
    {
        return std::nullopt;
    }
    return *number * unit;
}

/** The moment when a day of the local calendar begins.
 *
 *  @param[in] daysBack 0 for the day of @p now, 1 for the one before */
std::tm beginningOfDay(std::time_t now, int daysBack)
{
    std::tm parts{};
    localtime_r(&now, &parts);
    std::tm day{};
    day.tm_year = parts.tm_year;
    day.tm_mon = parts.tm_mon;
    day.tm_mday = parts.tm_mday - daysBack;
    day.tm_isdst = -1;
    return day;
}

/** A day in a word. */
std::optional<int64_t> parseWord(const std::string& text, std::time_t now)
{
    if (text == "now")
    {
        return now;
    }
    if (text == "today" || text == "yesterday")
    {
        std::tm day = beginningOfDay(now, text == "today" ? 0 : 1);
        return std::mktime(&day);
    }
    return std::nullopt;
}

/** Reads a whole text in a form of strptime().
 *
 *  @param[in] given what the form does not say */
std::optional<int64_t> parseForm(const std::string& text, const char* form,
                                 const std::tm& given)
{
    std::tm parts = given;
    const char* end = strptime(text.c_str(), form, &parts);
    if (end == nullptr || *end != '\0')
    {
        return std::nullopt;
    }
    const std::tm read = parts;
    const std::time_t moment = std::mktime(&parts);
    // There is no 31st of February, which mktime takes for March.
    return parts.tm_mday == read.tm_mday && parts.tm_mon == read.tm_mon
               ? std::optional<int64_t>(moment)
               : std::nullopt;
}

/** A day and perhaps a time of day, or a time of today. */
std::optional<int64_t> parseDate(const std::string& text, std::time_t now)
{
    const std::tm today = beginningOfDay(now, 0);
    for (const char* form :
         {"%Y-%m-%d", "%Y-%m-%d %H:%M", "%Y-%m-%d %H:%M:%S", "%Y-%m-%dT%H:%M",
          "%Y-%m-%dT%H:%M:%S", "%H:%M", "%H:%M:%S"})
    {
        if (const auto moment = parseForm(text, form, today))
        {
            return moment;
        }
    }
    return std::nullopt;
}

} // namespace

int64_t parseTimeArgument(const std::string& text, std::time_t now)
{
    std::optional<int64_t> moment;
    if (text.starts_with('@'))
    {
        moment = parseNumber(std::string_view(text).substr(1));
    }
    else if (const auto span = readSpan(text))
    {
        moment = now - *span;
    }
    else
    {
        moment = parseWord(text, now);
        moment = moment ? moment : parseDate(text, now);
    }
    if (!moment)
    {
        throw std::invalid_argument("\"" + text + "\" is no time");
    }
    return *moment;
}

uint32_t parseSpan(const std::string& text)
{
    const auto span = readSpan(text);
    if (!span)
    {
        throw std::invalid_argument("\"" + text + "\" is no length of time");
    }
    return static_cast<uint32_t>(*span);
}

} // namespace healthintf::healthctl
