// SPDX-License-Identifier: Apache-2.0
#include "message_id.hpp"

#include <algorithm>

namespace healthintf::healthctl
{
namespace
{

/** An identifier in its parts, those that it lacks are empty. */
struct MessageId
{
    std::string_view registry;
    /** Numbers with a dot behind each. */
    std::string_view version;
    std::string_view key;
};

MessageId split(std::string_view id)
{
    const auto first = id.find('.');
    if (first == std::string_view::npos)
    {
        return {.registry = {}, .version = {}, .key = id};
    }
    const auto last = id.rfind('.');
    return {.registry = id.substr(0, first),
            .version = id.substr(first + 1, last - first),
            .key = id.substr(last + 1)};
}

/** Whether the shorter of two texts begins the longer one. */
bool agree(std::string_view one, std::string_view other)
{
    const std::size_t both = std::min(one.size(), other.size());
    return one.substr(0, both) == other.substr(0, both);
}

} // namespace

bool isSameMessage(std::string_view one, std::string_view other)
{
    const MessageId left = split(one);
    const MessageId right = split(other);
    return left.key == right.key &&
           (left.registry.empty() || right.registry.empty() ||
            left.registry == right.registry) &&
           agree(left.version, right.version);
}

} // namespace healthintf::healthctl
