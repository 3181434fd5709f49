// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Makes texts of others safe to print on a terminal. */

#include <platform/utf8.hpp>

#include <array>
#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>

namespace healthintf::host
{

/** Whether a character changes how the text around it looks: terminal controls,
 *  line ends, changes of direction, and invisible tags. */
constexpr bool isMisleading(uint32_t code)
{
    const bool control = code < 0x20 || (code >= 0x7F && code < 0xA0);
    const bool lineEnd = code == 0x2028 || code == 0x2029;
    const bool direction = code == 0x061C || code == 0x200E || code == 0x200F ||
                           (code >= 0x202A && code <= 0x202E) ||
                           (code >= 0x2066 && code <= 0x2069);
    const bool tag = code >= 0xE0000 && code <= 0xE007F;
    return control || lineEnd || direction || tag;
}

/** Writes a character as an escape sequence with its number. */
inline std::string escapeCharacter(uint32_t code)
{
    std::array<char, 16> text{};
    std::snprintf(text.data(), text.size(),
                  code < 0x100     ? "\\x%02x"
                  : code < 0x10000 ? "\\u%04x"
                                   : "\\U%08x",
                  code);
    return text.data();
}

/** Replaces misleading characters in a text: line ends and tabulators become
 *  blanks, other ones an escape sequence, and a byte that is no UTF-8 a
 *  question mark. */
inline std::string printable(std::string_view text)
{
    std::string result;
    result.reserve(text.size());
    forEachCharacter(text, [&result](const Character& character) {
        const uint32_t code = character.code;
        if (!character.valid)
        {
            result += '?';
        }
        else if (code == '\n' || code == '\r' || code == '\t')
        {
            result += ' ';
        }
        else if (isMisleading(code))
        {
            result += escapeCharacter(code);
        }
        else
        {
            result += character.bytes;
        }
    });
    return result;
}

} // namespace healthintf::host
