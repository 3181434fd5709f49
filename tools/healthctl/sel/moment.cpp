// SPDX-License-Identifier: Apache-2.0
#include "moment.hpp"

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

/** How many seconds a unit has; 0 when it is none. */
constexpr int64_t getSeconds(char unit)
{
    constexpr int64_t minute = 60;
    constexpr int64_t hour = 60 * minute;
    switch (unit)
    {
        case 's':
            return 1;
        case 'm':
            return minute;
        case 'h':
            return hour;
        case 'd':
            return 24 * hour;
        default:
            return 0;
    }
}

/** A length of time: 10m. Ten years are enough for any log. */
std::optional<int64_t> parseSpan(const std::string& text)
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

/** A day and perhaps a time of day. */
std::optional<int64_t> parseDate(const std::string& text)
{
    for (const char* form : {"%Y-%m-%d", "%Y-%m-%d %H:%M", "%Y-%m-%d %H:%M:%S",
                             "%Y-%m-%dT%H:%M", "%Y-%m-%dT%H:%M:%S"})
    {
        std::tm parts{};
        parts.tm_isdst = -1;
        const char* end = strptime(text.c_str(), form, &parts);
        if (end == nullptr || *end != '\0')
        {
            continue;
        }
        const std::tm given = parts;
        const std::time_t moment = std::mktime(&parts);
        // There is no 31st of February, which mktime takes for March.
        if (parts.tm_mday == given.tm_mday && parts.tm_mon == given.tm_mon)
        {
            return moment;
        }
    }
    return std::nullopt;
}

} // namespace

int64_t parseMoment(const std::string& text, std::time_t now)
{
    std::optional<int64_t> moment;
    if (text.starts_with('@'))
    {
        moment = parseNumber(std::string_view(text).substr(1));
    }
    else if (const auto span = parseSpan(text))
    {
        moment = now - *span;
    }
    else
    {
        moment = parseDate(text);
    }
    if (!moment)
    {
        throw std::invalid_argument("\"" + text + "\" is no time");
    }
    return *moment;
}

} // namespace healthintf::healthctl
