// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Changes for people. */

#include "watch_filter.hpp"

#include <string>

namespace healthintf::healthctl
{

/** A change in words. */
struct ChangeText
{
    /** The present health of a node, the severity of a fault, or what happened
     *  in a word. */
    std::string word;
    /** The component, or what else it is about, and what happened. */
    std::string text;
};

ChangeText describeChange(const Change& change);

/** The first line, with the numbers of nodes and faults that are watched. */
ChangeText describeBeginning(const WatchedTree& tree,
                             const WatchFilter& filter);

} // namespace healthintf::healthctl
