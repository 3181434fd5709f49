#pragma once

/** @file Changes for programs. */

#include "watched_tree.hpp"

#include <nlohmann/json_fwd.hpp>

namespace healthintf::healthctl
{

/** The schema of each line. */
inline constexpr const char* watchSchema = "healthctl.watch/1";

/** A change as an object. */
nlohmann::ordered_json jsonOf(const Change& change);

/** What a watcher begins with: how much there is. Each change after this moment
 *  gives a line. */
nlohmann::ordered_json beginningOf(const WatchedTree& tree);

} // namespace healthintf::healthctl
