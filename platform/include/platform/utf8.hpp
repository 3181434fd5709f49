// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Takes texts apart into UTF-8 characters. */

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace healthintf
{

/** One character of a text. */
struct Character
{
    /** The bytes of the text that encode it. */
    std::string_view bytes;
    /** Its number in Unicode. */
    uint32_t code;
    /** False for a byte that is not part of a character in well-formed UTF-8;
     *  each such byte counts as one character. */
    bool valid;
};

/** The length in bytes of a character that begins with a byte; 0 when no
 *  character begins with it. */
constexpr std::size_t lengthBy(unsigned char first)
{
    if (first < 0x80)
    {
        return 1;
    }
    if (first < 0xC2 || first > 0xF4)
    {
        return 0;
    }
    return first < 0xE0 ? 2 : first < 0xF0 ? 3 : 4;
}

/** Whether Unicode keeps a number from ever being a character's. sd-bus fails
 *  on a message with one, although others carry it. */
constexpr bool isNoncharacter(uint32_t code)
{
    constexpr uint32_t lastOfPlane = 0xFFFE;
    return (code >= 0xFDD0 && code <= 0xFDEF) ||
           (code & lastOfPlane) == lastOfPlane;
}

/** Whether a number is a character's and is encoded in so many bytes. */
constexpr bool isCharacter(uint32_t code, std::size_t length)
{
    constexpr std::array<uint32_t, 5> least{0, 0, 0x80, 0x800, 0x10000};
    const bool surrogate = code >= 0xD800 && code <= 0xDFFF;
    return code >= least.at(length) && code <= 0x10FFFF && !surrogate &&
           !isNoncharacter(code);
}

/** Decodes the first character of a text.
 *
 *  @param[in] text not empty; must outlive the result */
constexpr Character firstCharacter(std::string_view text)
{
    constexpr uint32_t replacement = 0xFFFD;
    const Character broken{text.substr(0, 1), replacement, false};
    const auto first = static_cast<unsigned char>(text.front());
    const std::size_t length = lengthBy(first);
    if (length == 0 || length > text.size())
    {
        return broken;
    }
    uint32_t code = length == 1 ? first : first & (0x7FU >> length);
    for (const char each : text.substr(1, length - 1))
    {
        const auto byte = static_cast<unsigned char>(each);
        if ((byte & 0xC0U) != 0x80)
        {
            return broken;
        }
        code = code << 6U | (byte & 0x3FU);
    }
    return isCharacter(code, length)
               ? Character{text.substr(0, length), code, true}
               : broken;
}

/** Calls a function with each character of a text. */
template <typename Take>
constexpr void forEachCharacter(std::string_view text, Take&& take)
{
    while (!text.empty())
    {
        const Character character = firstCharacter(text);
        take(character);
        text.remove_prefix(character.bytes.size());
    }
}

/** Cuts a UTF-8 text to at most @p size bytes, but not within a character. */
constexpr std::string_view truncateUtf8(std::string_view text, std::size_t size)
{
    if (text.size() <= size)
    {
        return text;
    }
    while (size > 0 && (static_cast<unsigned char>(text[size]) & 0xC0U) == 0x80)
    {
        --size;
    }
    return text.substr(0, size);
}

/** Whether a text is well-formed UTF-8 without noncharacters, which D-Bus and
 *  JSON can carry. */
constexpr bool isUtf8(std::string_view text)
{
    bool valid = true;
    forEachCharacter(text, [&valid](const Character& character) {
        valid = valid && character.valid;
    });
    return valid;
}

} // namespace healthintf
