// SPDX-License-Identifier: Apache-2.0
#include "missing_nodes.hpp"

#include "data_cache/withdrawal.hpp"
#include "node_key.hpp"

#include <com/vexa/olvar/healthmgr/names.hpp>
#include <hmi_health.hpp>

#include <set>
#include <vector>

namespace healthintf::healthmgr
{

using health_namespace::HealthStatus;

MissingNodes::MissingNodes(services::EventLoop& loop, HostedNodes& nodes) :
    nodes(nodes), hosting(loop, [this] {
        return hostAll();
    })
{}

void MissingNodes::hostNow()
{
    hosting.attempt();
}

void MissingNodes::hostSoon()
{
    hosting.request();
}

void MissingNodes::hostParent(const std::string& key)
{
    const std::string parent = HealthStatus::GetParentKey(key);
    if (explainInvalidKey(parent).empty() && !nodes.hosts(parent) &&
        !host::findHealthRecord(parent) && host::findHealthRecord(key))
    {
        hostSoon();
    }
}

/** @return whether all the nodes exist now */
bool MissingNodes::hostAll()
{
    bool whole = nodes.host(names::root) == HostedNodes::Outcome::there;
    std::vector<std::string> parents;
    HealthStatus::GetMissingParents(parents);
    // GetMissingParents() lists a parent once for each child.
    for (const std::string& parent : std::set(parents.begin(), parents.end()))
    {
        // Keys outside the tree get no parents.
        if (explainInvalidKey(parent).empty())
        {
            whole = nodes.host(parent) == HostedNodes::Outcome::there && whole;
        }
    }
    for (const std::string& key : nodes.withoutRecord())
    {
        whole = nodes.host(key) == HostedNodes::Outcome::there && whole;
    }
    return whole;
}

} // namespace healthintf::healthmgr
