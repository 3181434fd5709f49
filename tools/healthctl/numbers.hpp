// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Options that take a number. */

#include <CLI/CLI.hpp>

#include <charconv>
#include <climits>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>

namespace healthintf::healthctl
{

/** The whole numbers that an option takes. */
struct Range
{
    int64_t least;
    /** The highest one that all counts of ours can hold, unless it matters. */
    int64_t most = INT_MAX;
};

/** A whole number in decimal digits, perhaps after a minus sign; "010" is ten.
 *  Nothing when the text is none. */
inline std::optional<int64_t> decimalNumber(std::string_view text)
{
    int64_t number = 0;
    const char* end = text.data() + text.size();
    const auto result = std::from_chars(text.data(), end, number);
    const bool whole = result.ec == std::errc{} && result.ptr == end;
    return whole ? std::optional(number) : std::nullopt;
}

/** Lets only numbers of a range pass. What passes is written anew, since the
 *  parser behind it takes zeros in front for the sign of octal digits. */
inline CLI::Validator numberIn(const Range& range)
{
    const auto check = [range](std::string& text) -> std::string {
        const std::optional<int64_t> number = decimalNumber(text);
        if (number && *number >= range.least && *number <= range.most)
        {
            text = std::to_string(*number);
            return "";
        }
        return "\"" + text + "\" is no number from " +
               std::to_string(range.least) + " to " +
               std::to_string(range.most);
    };
    // It adds nothing to what --help says of the option.
    return {check, ""};
}

/** Adds an option for a number.
 *
 *  @param[in,out] chosen must live until the command line is parsed */
template <typename Value>
CLI::Option* addNumber(CLI::App& command, const std::string& option,
                       Value& chosen, const Range& range,
                       const std::string& description)
{
    return command.add_option(option, chosen, description)
        ->transform(numberIn(range));
}

} // namespace healthintf::healthctl
