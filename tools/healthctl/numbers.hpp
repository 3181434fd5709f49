#pragma once

/** @file Options that take a number. */

#include <CLI/CLI.hpp>

#include <charconv>
#include <climits>
#include <cstdint>
#include <string>
#include <system_error>

namespace healthintf::healthctl
{

/** Lets only whole numbers pass that are not below another one. */
inline CLI::Validator numberFrom(int least)
{
    const auto problemOf = [least](const std::string& text) -> std::string {
        int64_t number = 0;
        const char* end = text.data() + text.size();
        const auto result = std::from_chars(text.data(), end, number);
        if (result.ec == std::errc{} && result.ptr == end && number >= least &&
            number <= INT_MAX)
        {
            return "";
        }
        return "\"" + text + "\" is no number from " + std::to_string(least) +
               " on";
    };
    // It adds nothing to what --help says of the option.
    return {problemOf, ""};
}

} // namespace healthintf::healthctl
