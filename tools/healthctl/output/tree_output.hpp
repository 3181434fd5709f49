// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file How the health tree is written. */

#include "../context.hpp"
#include "../model/health_tree.hpp"

#include <nlohmann/json_fwd.hpp>

#include <cstddef>
#include <optional>
#include <vector>

namespace healthintf::healthctl
{

/** What of the tree is written. */
struct TreeView
{
    /** Levels below the topmost key; nothing for all. */
    std::optional<std::size_t> depth;
    /** Whether each fault is listed below its node. */
    bool faults = false;
};

nlohmann::ordered_json toJson(const TreeNode& node, const TreeView& view);

/** Draws trees for people. */
void printTrees(const Context& context,
                const std::vector<const TreeNode*>& trees,
                const TreeView& view);

} // namespace healthintf::healthctl
