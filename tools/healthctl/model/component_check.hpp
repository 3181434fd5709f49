// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Judges a component and what is below it. */

#include "../check_state.hpp"
#include "health_tree.hpp"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

namespace healthintf::healthctl
{

/** How many faults a component and those below it have. */
struct FaultNumbers
{
    /** The visible ones by their severities. */
    std::size_t critical = 0;
    std::size_t warning = 0;
    std::size_t ok = 0;
    /** Any other severity. */
    std::size_t unknown = 0;
    std::size_t hidden = 0;
    /** Faults of lost monitors; they are among the others, too. */
    std::size_t lostMonitors = 0;

    std::size_t visible() const
    {
        return critical + warning + ok + unknown;
    }
};

/** What there is to say of a component. */
struct ComponentCheck
{
    CheckState state = CheckState::unknown;
    std::string key;
    uint32_t health = 0;
    FaultNumbers faults;
    /** The most severe visible fault, of those the oldest. */
    std::optional<Fault> worst;
    /** The component that is a warning or critical while no visible fault is
     *  as bad, so its base health is; empty when a fault is. */
    std::string withoutFault;
};

/** Judges a component by the health of its node.
 *
 *  @param[in] component of the tree
 *  @param[in] faults those of the whole tree */
ComponentCheck judge(const TreeNode& component, const Faults& faults);

/** Whether healthmgr has a part in the health of a component: it holds the
 *  nodes above those of daemons, and finds out when a daemon below has ended.
 */
bool needsHealthmgr(const TreeNode& component);

} // namespace healthintf::healthctl
