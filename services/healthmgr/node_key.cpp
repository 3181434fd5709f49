// SPDX-License-Identifier: Apache-2.0
#include "node_key.hpp"

#include "data_cache/segment_format.hpp"

#include <com/vexa/olvar/healthmgr/names.hpp>
#include <hmi_health.hpp>

#include <systemd/sd-bus.h>

#include <algorithm>
#include <string_view>

namespace healthintf::healthmgr
{

using health_namespace::HealthStatus;

namespace
{

constexpr std::size_t entrySuffix =
    std::string_view("/entry/Fault_4194304FFFF_4").size();
static_assert(maxKey + entrySuffix <= host::maxRecordPath + 1);

bool isBelowTheRoot(std::string_view path)
{
    const std::string_view root = names::root;
    return path.starts_with(root) &&
           (path.size() == root.size() || path[root.size()] == '/');
}

} // namespace

bool isKey(const char* text)
{
    const std::string_view path = text;
    return path.size() <= maxKey && isBelowTheRoot(path) &&
           sd_bus_object_path_is_valid(text) > 0;
}

std::string explainInvalidKey(const std::string& key)
{
    const std::string root = names::root;
    if (key.size() > maxKey)
    {
        return "more than " + std::to_string(maxKey) + " bytes long";
    }
    if (sd_bus_object_path_is_valid(key.c_str()) <= 0)
    {
        return "no object path";
    }
    if (!isBelowTheRoot(key))
    {
        return "not below " + root;
    }
    const auto depth = std::count(
        key.begin() + static_cast<std::ptrdiff_t>(root.size()), key.end(), '/');
    if (static_cast<std::size_t>(depth) > maxDepth)
    {
        return "more than " + std::to_string(maxDepth) + " levels deep";
    }
    return {};
}

std::vector<std::string> withAncestors(const std::string& key)
{
    std::vector<std::string> keys;
    for (std::string next = key; !next.empty();
         next = HealthStatus::GetParentKey(next))
    {
        keys.push_back(next);
    }
    std::ranges::reverse(keys);
    return keys;
}

} // namespace healthintf::healthmgr
