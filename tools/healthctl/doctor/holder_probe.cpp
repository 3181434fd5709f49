// SPDX-License-Identifier: Apache-2.0
#include "holder_probe.hpp"

#include "../source/bus_survey.hpp"
#include "../source/process_name.hpp"

#include <com/vexa/olvar/healthmgr/names.hpp>

#include <data_cache/record_owners.hpp>

#include <algorithm>
#include <map>
#include <string>
#include <vector>

namespace healthintf::healthctl
{
namespace
{

using Keys = std::set<std::string>;

/** The keys of the nodes of each process. */
std::map<uint32_t, Keys> listHolders(const std::set<uint32_t>& others)
{
    std::map<uint32_t, Keys> holders;
    host::RecordOwners owners;
    if (host::listNodeOwners(owners) == 0)
    {
        for (const auto& [key, owner] : owners)
        {
            if (!others.contains(owner.pid))
            {
                holders[owner.pid].insert(key);
            }
        }
    }
    return holders;
}

/** The keys that the connections of a process do not show. */
Keys keysNotShown(Keys keys, const std::vector<std::string>& connections,
                  const Survey& survey)
{
    for (const std::string& connection : connections)
    {
        const auto shown = survey.shown.find(connection);
        if (shown == survey.shown.end())
        {
            continue;
        }
        if (shown->second.rootHealth)
        {
            keys.erase(names::root);
        }
        for (const auto& [path, interfaces] : shown->second.objects)
        {
            keys.erase(path);
        }
    }
    return keys;
}

} // namespace

HolderStates probeHolders(const BusProbe& bus, const std::set<uint32_t>& others)
{
    constexpr std::size_t mostAsked = 1000;
    HolderStates states;
    const auto holders = listHolders(others);
    std::map<uint32_t, std::vector<std::string>> connectionsOf;
    std::vector<std::string> asked;
    for (const auto& [connection, pid] : bus.connections())
    {
        if (!holders.contains(pid))
        {
            continue;
        }
        if (asked.size() == mostAsked)
        {
            states.complete = false;
            break;
        }
        connectionsOf[pid].push_back(connection);
        asked.push_back(connection);
    }
    const Survey survey = surveyConnections(bus.get(), asked);
    states.complete = states.complete && survey.refused.empty();
    for (const auto& [pid, connections] : connectionsOf)
    {
        const bool waits = std::ranges::any_of(
            connections, [&survey](const std::string& connection) {
                return survey.silent.contains(connection);
            });
        const Keys keys = keysNotShown(holders.at(pid), connections, survey);
        if (waits && !keys.empty())
        {
            states.silent.push_back(
                {readProcessName(static_cast<pid_t>(pid)), keys.size()});
        }
    }
    return states;
}

HolderStates probeConnections(const BusProbe& bus,
                              const std::set<uint32_t>& others)
{
    HolderStates states;
    states.known = false;
    const auto connections = bus.connections();
    std::set<uint32_t> silent;
    const Survey survey = surveyBus(bus.get());
    states.complete = survey.refused.empty();
    for (const std::string& connection : survey.silent)
    {
        const auto found = connections.find(connection);
        if (found != connections.end() && !others.contains(found->second))
        {
            silent.insert(found->second);
        }
    }
    for (const uint32_t pid : silent)
    {
        states.silent.push_back({readProcessName(static_cast<pid_t>(pid))});
    }
    return states;
}

} // namespace healthintf::healthctl
