// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Reads the records of the tree. */

#include "watched_tree.hpp"

#include <string>

namespace healthintf::healthctl
{

struct Records
{
    Nodes nodes;
    WatchedTree::Faults faults;
    SilentProcesses silent;
    /** Why there is no node on the bus; empty where there is one. */
    std::string nothing;
};

/** Reads all nodes and faults.
 *
 *  @throws Error when this user may not, or the bus does not answer */
Records readTree(const RepeatedReading& reading);

/** All properties of a fault. */
FaultEntryProperties makeProperties(const FaultEntry_gen& fault);

} // namespace healthintf::healthctl
