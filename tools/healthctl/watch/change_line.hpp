// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Changes for programs. */

#include "watch_filter.hpp"

#include <nlohmann/json_fwd.hpp>

namespace healthintf::healthctl
{

/** The schema of each line. */
inline constexpr const char* watchSchema = "healthctl.watch/1";

/** A change as an object. */
nlohmann::ordered_json toJson(const Change& change);

/** The first line, with the numbers of nodes and faults that are watched. Each
 *  later change of them gives a line. */
nlohmann::ordered_json beginningJson(const WatchedTree& tree,
                                     const WatchFilter& filter);

} // namespace healthintf::healthctl
