// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Changes for programs. */

#include "watched_tree.hpp"

#include <nlohmann/json_fwd.hpp>

namespace healthintf::healthctl
{

/** The schema of each line. */
inline constexpr const char* watchSchema = "healthctl.watch/1";

/** A change as an object. */
nlohmann::ordered_json toJson(const Change& change);

/** The first line, with the numbers of nodes and faults. Each later change
 *  gives a line. */
nlohmann::ordered_json describeBeginning(const WatchedTree& tree);

} // namespace healthintf::healthctl
