// SPDX-License-Identifier: Apache-2.0
#include "eviction_count.hpp"

#include <hmi_fault_health.hpp>

namespace healthintf::exporter
{
namespace
{

constexpr std::string_view entryFolder = "/entry/";

/** The part of an entry's path that the component's entries share. It is
 *  another one after another process has taken the component over. */
std::string_view groupOf(std::string_view entry)
{
    // At the end are the fault's number, of four digits, and its health.
    constexpr std::size_t digits = 4;
    const std::size_t end = entry.rfind('_');
    return end == std::string_view::npos || end < digits
               ? entry
               : entry.substr(0, end - digits);
}

} // namespace

std::string_view componentOf(std::string_view entry)
{
    const std::size_t end = entry.rfind(entryFolder);
    return end == std::string_view::npos ? std::string_view()
                                         : entry.substr(0, end);
}

void EvictionCount::startAnew()
{
    groups.clear();
    gone.clear();
    counting = false;
}

void EvictionCount::know(const std::string& entry)
{
    if (!gone.contains(entry))
    {
        groups[std::string(groupOf(entry))].entries.insert(entry);
    }
}

void EvictionCount::startCounting()
{
    counting = true;
    gone.clear();
}

void EvictionCount::added(const std::string& sender, const std::string& entry)
{
    Group& group = groups[std::string(groupOf(entry))];
    group.sender = sender;
    group.entries.insert(entry);
}

void EvictionCount::removed(const std::string& entry)
{
    if (!counting)
    {
        gone.insert(entry);
    }
    const auto found = groups.find(groupOf(entry));
    if (found == groups.end())
    {
        return;
    }
    std::set<std::string>& entries = found->second.entries;
    const bool tooMany =
        entries.size() > health_namespace::FaultAndHealth::maxFaults;
    if (entries.erase(entry) != 0 && tooMany && counting)
    {
        ++counted[std::string(componentOf(entry))];
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
    std::erase_if(groups, [&sender](const auto& each) {
        return each.second.sender == sender;
    });
}

} // namespace healthintf::exporter
