// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Components by their keys, and how an operator writes these. */

#include "../error.hpp"

#include <string>
#include <string_view>

namespace healthintf::healthctl
{

/** The key that an operator means: "psu/fan" stands for the key below the root
 *  of the health tree, and what begins with a slash for itself. A slash at the
 *  end does no harm.
 *
 *  @throws Error when it is no object path */
std::string parseKey(const std::string& written);

/** The error for a component that does not exist. */
Error noComponent(const std::string& written);

/** How a key is shown: without the root of the health tree, unless it is the
 *  root or lies elsewhere. parseKey() takes it back. */
std::string shownKey(const std::string& key);

/** The key that a fault entry's path belongs to. */
std::string getComponent(const std::string& entryPath);

/** The key above a key. */
std::string getParent(const std::string& key);

/** Whether a key is another one or below it; below the empty one is all. */
bool isAtOrBelow(std::string_view key, std::string_view top);

} // namespace healthintf::healthctl
