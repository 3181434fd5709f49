// SPDX-License-Identifier: Apache-2.0
#include "entry_name.hpp"

#include <algorithm>
#include <array>
#include <charconv>

namespace health_namespace::details
{
namespace
{

constexpr int hexadecimal = 16;

/** Appends a number in upper-case hexadecimal digits, at least @p width of
 *  them. */
void appendHex(std::string& text, uint32_t number, std::size_t width)
{
    std::array<char, 8> digits{};
    const char* end =
        std::to_chars(digits.begin(), digits.end(), number, hexadecimal).ptr;
    const auto count = static_cast<std::size_t>(end - digits.data());
    text.append(std::max(width, count) - count, '0');
    for (std::size_t i = 0; i < count; ++i)
    {
        const char digit = digits[i];
        text.push_back(digit >= 'a' ? static_cast<char>(digit - 'a' + 'A')
                                    : digit);
    }
}

} // namespace

std::string entryName(uint32_t process, uint16_t number, uint32_t health)
{
    std::string name = "Fault_";
    appendHex(name, process, 4);
    appendHex(name, number, 4);
    name += '_';
    appendHex(name, health, 1);
    return name;
}

} // namespace health_namespace::details
