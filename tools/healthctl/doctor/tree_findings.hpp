// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Judges the health records. */

#include "finding.hpp"

#include <cstddef>
#include <set>
#include <string>
#include <vector>

namespace healthintf::healthctl
{

/** The nodes without a parent, one finding for each missing parent and one for
 *  all outside of the tree; or that there are none.
 *
 *  @param[in] keys those of all nodes */
Findings missingParents(const std::set<std::string>& keys);

/** A component whose daemon ended without giving it up. */
struct LostComponent
{
    std::string key;
    /** The process in words. */
    std::string process;
};

/** The components that nobody watches any more. */
Finding lostMonitors(const std::vector<LostComponent>& components);

/** A process whose nodes may have changed without anybody hearing of it. */
struct SilentHolder
{
    /** In words. */
    std::string process;
    /** How many nodes it has, if that is known. */
    std::size_t nodes = 0;
};

/** The processes that were asked whether they answer. */
struct HolderStates
{
    std::vector<SilentHolder> silent;
    /** Those that have no connection to the bus. */
    std::vector<SilentHolder> absent;
    /** Whether it is known which processes have nodes. Else all were asked. */
    bool known = true;
    /** Whether all were asked, and not only the first. */
    bool complete = true;
};

Findings makeFindings(const HolderStates& holders);

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
