// SPDX-License-Identifier: Apache-2.0
#include "keys.hpp"

#include <algorithm>
#include <array>
#include <cstddef>
#include <utility>

namespace healthintf::healthctl
{
namespace
{

/** What terminals send, and the letters of less. */
constexpr auto sequences = std::to_array<std::pair<std::string_view, Key>>({
    {"\033[A", Key::up},    {"\033OA", Key::up},
    {"k", Key::up},         {"\033[B", Key::down},
    {"\033OB", Key::down},  {"j", Key::down},
    {"\n", Key::down},      {"\033[5~", Key::pageUp},
    {"b", Key::pageUp},     {"\033[6~", Key::pageDown},
    {" ", Key::pageDown},   {"f", Key::pageDown},
    {"\033[H", Key::home},  {"\033OH", Key::home},
    {"\033[1~", Key::home}, {"g", Key::home},
    {"\033[F", Key::end},   {"\033OF", Key::end},
    {"\033[4~", Key::end},  {"G", Key::end},
    {"q", Key::quit},
});

/** The bytes of a key that this does not know: a control sequence as a whole,
 *  else one; 0 when its end has not come yet. */
std::size_t measureUnknown(std::string_view bytes)
{
    // No key is longer; what is has been made up.
    constexpr std::size_t longest = 16;
    if (!bytes.starts_with("\033["))
    {
        return bytes == "\033" ? 0 : 1;
    }
    const auto* const end =
        std::find_if(bytes.begin() + 2, bytes.end(), [](char byte) {
            return byte >= '@' && byte <= '~';
        });
    if (end != bytes.end())
    {
        return static_cast<std::size_t>(end - bytes.begin()) + 1;
    }
    return bytes.size() > longest ? bytes.size() : 0;
}

} // namespace

std::vector<Key> KeyReader::take(std::string_view bytes)
{
    std::vector<Key> keys;
    pending += bytes;
    std::string_view rest = pending;
    while (!rest.empty())
    {
        const auto* const known =
            std::ranges::find_if(sequences, [rest](const auto& sequence) {
                return rest.starts_with(sequence.first);
            });
        const std::size_t size = known != sequences.end()
                                     ? known->first.size()
                                     : measureUnknown(rest);
        if (size == 0)
        {
            break;
        }
        if (known != sequences.end())
        {
            keys.push_back(known->second);
        }
        rest.remove_prefix(size);
    }
    pending = std::string(rest);
    return keys;
}

} // namespace healthintf::healthctl
