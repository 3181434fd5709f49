// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Reads the records of the tree. */

#include "watched_tree.hpp"

namespace healthintf::healthctl
{

struct Records
{
    WatchedTree::Nodes nodes;
    WatchedTree::Faults faults;
};

/** Reads all nodes and faults; none when nothing runs.
 *
 *  @throws Error when this user may not */
Records readTree();

/** All properties of a fault. */
FaultEntryProperties propertiesOf(const FaultEntry_gen& fault);

} // namespace healthintf::healthctl
