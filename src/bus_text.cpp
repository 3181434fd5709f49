#include "bus_text.hpp"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <stdexcept>

namespace health_namespace::details
{
namespace
{

/** How many bytes a sequence has by its first byte; 0 for a byte that starts
 *  none. */
std::size_t sequenceLength(uint8_t first)
{
    if (first < 0x80)
    {
        return first == 0 ? 0 : 1;
    }
    if (first < 0xC2 || first > 0xF4)
    {
        return 0;
    }
    if (first < 0xE0)
    {
        return 2;
    }
    return first < 0xF0 ? 3 : 4;
}

/** The range of a sequence's second byte: it leaves out the longer forms of
 *  short sequences, the surrogates and what lies above U+10FFFF. */
bool secondByteFits(uint8_t first, uint8_t second)
{
    switch (first)
    {
        case 0xE0:
            return second >= 0xA0 && second <= 0xBF;
        case 0xED:
            return second >= 0x80 && second <= 0x9F;
        case 0xF0:
            return second >= 0x90 && second <= 0xBF;
        case 0xF4:
            return second >= 0x80 && second <= 0x8F;
        default:
            return (second & 0xC0) == 0x80;
    }
}

/** Whether the whole sequence at the start of @p text is well formed. */
bool sequenceFits(std::string_view text, std::size_t length)
{
    if (length == 0 || length > text.size())
    {
        return false;
    }
    if (length > 1 && !secondByteFits(static_cast<uint8_t>(text[0]),
                                      static_cast<uint8_t>(text[1])))
    {
        return false;
    }
    for (std::size_t i = 2; i < length; ++i)
    {
        if ((static_cast<uint8_t>(text[i]) & 0xC0) != 0x80)
        {
            return false;
        }
    }
    return true;
}

/** Whether eight bytes are all ASCII and none of them is NUL. */
bool allPlain(const char* bytes)
{
    constexpr uint64_t lowest = 0x0101010101010101;
    constexpr uint64_t highest = 0x8080808080808080;
    uint64_t word = 0;
    std::memcpy(&word, bytes, sizeof(word));
    return ((word | (word - lowest)) & highest) == 0;
}

} // namespace

bool isBusText(std::string_view text)
{
    while (!text.empty())
    {
        if (text.size() >= sizeof(uint64_t) && allPlain(text.data()))
        {
            text.remove_prefix(sizeof(uint64_t));
            continue;
        }
        const std::size_t length =
            sequenceLength(static_cast<uint8_t>(text.front()));
        if (!sequenceFits(text, length))
        {
            return false;
        }
        text.remove_prefix(length);
    }
    return true;
}

void BusTextCheck::require(const std::string& name, const std::string& text)
{
    if (!isBusText(text))
    {
        throw std::invalid_argument(name + " is not UTF-8 text without NUL");
    }
    bytes += text.size();
    if (bytes > most)
    {
        throw std::length_error("the texts have more than " +
                                std::to_string(most) + " bytes");
    }
}

} // namespace health_namespace::details
