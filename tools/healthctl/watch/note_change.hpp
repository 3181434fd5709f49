// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file What operators have noted, as changes. */

#include "healthmgr/members.hpp"
#include "watched_tree.hpp"

namespace healthintf::healthctl
{

/** Makes a change of what healthmgr said of a silence or an
 *  acknowledgement.
 *
 *  @param[in] tree for the fault of an acknowledgement, and for the components
 *             whose faults a silence names
 *  @return nothing for an acknowledgement that ended with its fault: that is a
 *          change already */
Changes makeNoteChanges(Change::Kind kind, const host::Members& told,
                        const WatchedTree& tree);

} // namespace healthintf::healthctl
