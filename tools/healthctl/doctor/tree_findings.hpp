#pragma once

/** @file What the doctor makes of the health records. */

#include "finding.hpp"

#include <cstddef>
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

/** A key that several processes have a health record of. */
struct SharedKey
{
    std::string key;
    /** The processes in words, such as "fan-daemon[812] (user fans)". */
    std::vector<std::string> holders;
};

/** The keys that several processes hold.
 *
 *  @param[in] keys some of them
 *  @param[in] count how many there are */
Finding sharedKeys(const std::vector<SharedKey>& keys, std::size_t count);

} // namespace healthintf::healthctl
