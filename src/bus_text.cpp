// SPDX-License-Identifier: Apache-2.0
#include "bus_text.hpp"

#include <platform/utf8.hpp>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <stdexcept>

namespace health_namespace::details
{
namespace
{

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
        const healthintf::Character first = healthintf::firstCharacter(text);
        if (!first.valid || first.code == 0)
        {
            return false;
        }
        text.remove_prefix(first.bytes.size());
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
