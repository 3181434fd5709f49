// SPDX-License-Identifier: Apache-2.0
#include "eviction_count.hpp"

#include "../common/entry_path.hpp"

#include <hmi_fault_health.hpp>

#include <data_cache/segment_format.hpp>

#include <string_view>

namespace healthintf::exporter
{
namespace
{

/** The part of an entry's path that the component's entries share. It is
 *  another one after another process has taken the component over. */
std::string_view parseGroup(std::string_view entry)
{
    // At the end are the fault's number, of four digits, and its health.
    constexpr std::size_t digits = 4;
    const std::size_t end = entry.rfind('_');
    return end == std::string_view::npos || end < digits
               ? entry
               : entry.substr(0, end - digits);
}

} // namespace

void EvictionCount::startAnew()
{
    groups.clear();
    followed = 0;
    gone.clear();
    counting = false;
}

void EvictionCount::know(const std::string& entry)
{
    if (!gone.contains(entry))
    {
        insert(entry, {});
    }
}

void EvictionCount::startCounting()
{
    counting = true;
    gone.clear();
}

void EvictionCount::added(const std::string& sender, const std::string& entry)
{
    insert(entry, sender);
}

void EvictionCount::insert(const std::string& entry, const std::string& sender)
{
    if (followed >= mostEntries || entry.size() > host::maxRecordPath)
    {
        return;
    }
    Group& group = groups[std::string(parseGroup(entry))];
    if (!sender.empty())
    {
        group.sender = sender;
    }
    followed += group.entries.insert(entry).second ? 1 : 0;
}

void EvictionCount::removed(const std::string& entry)
{
    if (!counting && gone.size() < mostEntries &&
        entry.size() <= host::maxRecordPath)
    {
        gone.insert(entry);
    }
    const auto found = groups.find(parseGroup(entry));
    if (found == groups.end())
    {
        return;
    }
    std::set<std::string>& entries = found->second.entries;
    const bool tooMany =
        entries.size() > health_namespace::FaultAndHealth::maxFaults;
    const bool known = entries.erase(entry) != 0;
    followed -= known ? 1 : 0;
    if (known && tooMany && counting)
    {
        ++counted[std::string(services::getComponent(entry))];
    }
    if (entries.empty())
    {
        groups.erase(found);
    }
}

void EvictionCount::forgetAllBut(const std::set<std::string>& components)
{
    std::erase_if(counted, [&components](const auto& each) {
        return !components.contains(each.first);
    });
}

void EvictionCount::left(const std::string& sender)
{
    std::erase_if(groups, [&](const auto& each) {
        const auto& [name, group] = each;
        const bool ended = group.sender == sender;
        followed -= ended ? group.entries.size() : 0;
        return ended;
    });
}

} // namespace healthintf::exporter
