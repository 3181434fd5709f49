#pragma once

/** @file Texts of others as people may see them. */

#include <platform/utf8.hpp>

#include <array>
#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>

namespace healthintf::host
{

/** Whether a character changes what a reader sees of the text around it: a
 *  terminal obeys it, it ends the line, changes its direction, or carries what
 *  is not shown. */
constexpr bool misleads(uint32_t code)
{
    const bool control = code < 0x20 || (code >= 0x7F && code < 0xA0);
    const bool lineEnd = code == 0x2028 || code == 0x2029;
    const bool direction = code == 0x061C || code == 0x200E || code == 0x200F ||
                           (code >= 0x202A && code <= 0x202E) ||
                           (code >= 0x2066 && code <= 0x2069);
    const bool tag = code >= 0xE0000 && code <= 0xE007F;
    return control || lineEnd || direction || tag;
}

/** A character by its number. */
inline std::string writtenOut(uint32_t code)
{
    std::array<char, 16> text{};
    std::snprintf(text.data(), text.size(),
                  code < 0x100     ? "\\x%02x"
                  : code < 0x10000 ? "\\u%04x"
                                   : "\\U%08x",
                  code);
    return text.data();
}

/** A text without characters that mislead: line ends and tabulators become
 *  blanks, others are written out, and ? stands for a byte that is no UTF-8. */
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
        else if (misleads(code))
        {
            result += writtenOut(code);
        }
        else
        {
            result += character.bytes;
        }
    });
    return result;
}

} // namespace healthintf::host
