#pragma once

/** @file What the doctor makes of the health records. */

#include "finding.hpp"

#include <cstdint>
#include <string>
#include <vector>

namespace healthintf::healthctl
{

/** A health record. */
struct NodeState
{
    std::string key;
    uint32_t pid = 0;
    /** Whether the process lives. */
    bool alive = true;
};

/** The records of dead processes, a finding for each process; or that there
 *  are none. */
Findings deadOwners(const std::vector<NodeState>& nodes);

/** The nodes without a parent, one finding for each missing parent; or that
 *  there are none. */
Findings missingParents(const std::vector<NodeState>& nodes);

} // namespace healthintf::healthctl
