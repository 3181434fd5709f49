// SPDX-License-Identifier: Apache-2.0
#include "holder_probe.hpp"

#include "../source/bus_survey.hpp"
#include "../source/process_name.hpp"
#include "process_probe.hpp"

#include <com/vexa/olvar/healthmgr/names.hpp>

#include <data_cache/record_owners.hpp>

#include <unistd.h>

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
using Holders = std::map<host::ProcessIdentity, Keys>;

Holders listHolders(const std::set<uint32_t>& others)
{
    Holders holders;
    host::RecordOwners owners;
    if (host::listNodeOwners(owners) == 0)
    {
        for (const auto& [key, owner] : owners)
        {
            if (!others.contains(owner.pid))
            {
                holders[owner].insert(key);
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

SilentHolder describe(const host::ProcessIdentity& process, const Keys& keys)
{
    return {readProcessName(static_cast<pid_t>(process.pid)), keys.size()};
}

/** Whether the bus tells the processes of all connections, by the numbers that
 *  they have here: it may run in another PID namespace. */
bool tellsProcesses(const std::map<std::string, uint32_t>& connections)
{
    const auto isOf = [&connections](uint32_t pid) {
        return std::ranges::any_of(connections, [pid](const auto& each) {
            return each.second == pid;
        });
    };
    constexpr uint32_t unknown = 0;
    return isOf(static_cast<uint32_t>(getpid())) && !isOf(unknown);
}

/** Whether a process of this PID namespace is still there and has the same
 *  nodes. */
bool isUnchanged(const Holders& now, const host::ProcessIdentity& process,
                 const Keys& keys)
{
    const auto found = now.find(process);
    return found != now.end() && found->second == keys &&
           readStartTime(process.pid) == process.startTime;
}

/** The connections of some processes, by process. */
struct Connections
{
    std::map<uint32_t, std::vector<std::string>> byProcess;
    std::vector<std::string> all;
    /** Whether there are no more of them. */
    bool complete = true;
};

/** Chooses the connections to ask: those of processes with nodes, and not too
 *  many. */
Connections chooseConnections(const std::map<std::string, uint32_t>& onTheBus,
                              const Holders& holders)
{
    constexpr std::size_t most = 1000;
    std::set<uint32_t> pids;
    for (const auto& [process, keys] : holders)
    {
        pids.insert(process.pid);
    }
    Connections chosen;
    for (const auto& [connection, pid] : onTheBus)
    {
        if (!pids.contains(pid))
        {
            continue;
        }
        if (chosen.all.size() == most)
        {
            chosen.complete = false;
            break;
        }
        chosen.byProcess[pid].push_back(connection);
        chosen.all.push_back(connection);
    }
    return chosen;
}

/** Notes a process if one of its connections is silent and it has nodes that
 *  no other connection has shown. */
void noteIfSilent(const host::ProcessIdentity& process, const Keys& keys,
                  const std::vector<std::string>& connections,
                  const Survey& survey, HolderStates& states)
{
    const bool waits = std::ranges::any_of(
        connections, [&survey](const std::string& connection) {
            return survey.silent.contains(connection);
        });
    const Keys unseen = keysNotShown(keys, connections, survey);
    if (waits && !unseen.empty())
    {
        states.silent.push_back(describe(process, unseen));
    }
}

} // namespace

HolderStates probeHolders(const BusProbe& bus, const std::set<uint32_t>& others)
{
    const Holders holders = listHolders(others);
    const auto onTheBus = bus.connections();
    const Connections asked = chooseConnections(onTheBus, holders);
    const Survey survey = surveyConnections(bus.get(), asked.all);
    const Holders after = listHolders(others);
    HolderStates states;
    states.complete = asked.complete && survey.refused.empty();
    const bool seesAll = states.complete && tellsProcesses(onTheBus);
    for (const auto& [process, keys] : holders)
    {
        const auto found = asked.byProcess.find(process.pid);
        if (found != asked.byProcess.end())
        {
            noteIfSilent(process, keys, found->second, survey, states);
        }
        else if (seesAll && isUnchanged(after, process, keys))
        {
            states.absent.push_back(describe(process, keys));
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
