// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Chooses nodes of the health tree. */

#include "health_tree.hpp"

#include <cstdint>
#include <functional>
#include <set>
#include <vector>

namespace healthintf::healthctl
{

/** Whether something is wrong with a node itself: its health is not OK, it has
 *  visible faults and no node, its parent is missing, or its process does not
 *  answer. */
bool hasProblem(const TreeNode& node);

/** Copies the nodes that are wanted, and those above them. */
std::vector<TreeNode>
keepNodes(const std::vector<const TreeNode*>& tops,
          const std::function<bool(const TreeNode&)>& wanted);

/** Copies the nodes that have one of the severities as their health or have
 *  such a fault, and those above them; of faults only such ones. */
std::vector<TreeNode> keepSeverities(const std::vector<const TreeNode*>& tops,
                                     const std::set<uint32_t>& severities);

/** The addresses of trees, which must outlive what is returned. */
std::vector<const TreeNode*> listTops(const std::vector<TreeNode>& trees);

/** The faults of trees. */
Faults listFaults(const std::vector<const TreeNode*>& tops);

} // namespace healthintf::healthctl
