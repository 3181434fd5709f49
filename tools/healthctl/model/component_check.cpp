// SPDX-License-Identifier: Apache-2.0
#include "component_check.hpp"

#include "component.hpp"
#include "fault_filter.hpp"

#include <com/vexa/olvar/healthmgr/names.hpp>
#include <hmi_health_value.hpp>

#include <healthmgr/protocol.hpp>

namespace healthintf::healthctl
{
namespace
{

CheckState getState(uint32_t health)
{
    switch (health)
    {
        case health_namespace::healthOk:
            return CheckState::ok;
        case health_namespace::healthWarning:
            return CheckState::warning;
        case health_namespace::healthCritical:
            return CheckState::critical;
        default:
            return CheckState::unknown;
    }
}

std::size_t& numberOf(FaultNumbers& numbers, uint32_t severity)
{
    switch (severity)
    {
        case health_namespace::healthOk:
            return numbers.ok;
        case health_namespace::healthWarning:
            return numbers.warning;
        case health_namespace::healthCritical:
            return numbers.critical;
        default:
            return numbers.unknown;
    }
}

FaultNumbers count(const Faults& faults)
{
    FaultNumbers numbers;
    for (const Fault& fault : faults)
    {
        const FaultEntry_gen& record = fault.record;
        ++(record.hidden() ? numbers.hidden
                           : numberOf(numbers, record.severity()));
        numbers.lostMonitors +=
            record.messageID() == host::monitorLostMessage ? 1 : 0;
    }
    return numbers;
}

/** The lowest component from which another has its health. */
const TreeNode& findCause(const TreeNode& component)
{
    for (const TreeNode& child : component.children)
    {
        if (child.node.health == component.node.health)
        {
            return findCause(child);
        }
    }
    return component;
}

} // namespace

ComponentCheck judge(const TreeNode& component, const Faults& faults)
{
    FaultFilter below;
    below.key = component.key;
    below.visibility = Visibility::all;
    ComponentCheck check;
    check.key = component.key;
    check.health = component.node.health;
    check.state = getState(check.health);
    check.faults = count(chooseFaults(faults, below));
    below.visibility = Visibility::visible;
    below.limit = 1;
    const Faults first = chooseFaults(faults, below);
    if (!first.empty())
    {
        check.worst = first.front();
    }
    const bool bad = check.state == CheckState::warning ||
                     check.state == CheckState::critical;
    if (bad && (!check.worst || check.worst->record.severity() < check.health))
    {
        check.withoutFault = findCause(component).key;
    }
    return check;
}

bool needsHealthmgr(const TreeNode& component)
{
    return component.key == names::root || !component.recorded ||
           !component.children.empty();
}

} // namespace healthintf::healthctl
