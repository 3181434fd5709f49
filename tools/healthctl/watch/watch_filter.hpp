// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Which part of the tree is watched. */

#include "../model/health_tree.hpp"
#include "watched_tree.hpp"

#include <cstddef>
#include <cstdint>
#include <set>
#include <string>
#include <vector>

namespace healthintf::healthctl
{

/** The part of the tree that is watched. */
struct WatchFilter
{
    /** The component that is watched with what is below it; empty for all. */
    std::string key;
    /** The health values of nodes and faults; empty for all. */
    std::set<uint32_t> severities;
};

/** Whether a change is of that part. A node's health is when it has or had one
 *  of the severities, and a process when one of its components is below the
 *  key, or nothing is known of its components. A
 *  silence is when it names such a component, or a fault there. */
bool isWatched(const Change& change, const WatchFilter& filter);

/** How many nodes and faults of that part there are. */
std::size_t countNodes(const WatchedTree& tree, const WatchFilter& filter);
std::size_t countFaults(const WatchedTree& tree, const WatchFilter& filter);

/** The trees of that part; none when there is no such component. */
std::vector<TreeNode> chooseTrees(const std::vector<TreeNode>& trees,
                                  const WatchFilter& filter);

} // namespace healthintf::healthctl
