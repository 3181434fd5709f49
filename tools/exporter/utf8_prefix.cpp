#include "utf8_prefix.hpp"

#include <cstdint>

namespace healthintf::exporter
{
namespace
{

/** What the first byte says of a character. */
struct Lead
{
    std::size_t length;
    /** Bits of the number that are in the first byte. */
    uint32_t bits;
    /** The smallest number that needs as many bytes. */
    uint32_t least;
};

Lead leadOf(uint8_t byte)
{
    if (byte < 0x80)
    {
        return {1, byte, 0};
    }
    if ((byte & 0xE0) == 0xC0)
    {
        return {2, byte & 0x1FU, 0x80};
    }
    if ((byte & 0xF0) == 0xE0)
    {
        return {3, byte & 0x0FU, 0x800};
    }
    if ((byte & 0xF8) == 0xF0)
    {
        return {4, byte & 0x07U, 0x10000};
    }
    return {0, 0, 0};
}

bool isCharacter(uint32_t number)
{
    const bool surrogate = number >= 0xD800 && number <= 0xDFFF;
    return number <= 0x10FFFF && !surrogate;
}

} // namespace

std::size_t utf8Prefix(std::string_view text)
{
    const Lead lead = leadOf(static_cast<uint8_t>(text.front()));
    if (lead.length > text.size())
    {
        return 0;
    }
    uint32_t number = lead.bits;
    for (std::size_t i = 1; i < lead.length; ++i)
    {
        const auto byte = static_cast<uint8_t>(text[i]);
        if ((byte & 0xC0) != 0x80)
        {
            return 0;
        }
        number = number << 6 | (byte & 0x3FU);
    }
    return number >= lead.least && isCharacter(number) ? lead.length : 0;
}

} // namespace healthintf::exporter
