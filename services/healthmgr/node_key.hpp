// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file The keys of nodes. */

#include <cstddef>
#include <string>
#include <vector>

namespace healthintf::healthmgr
{

/** How many levels below the root a key may lie. */
inline constexpr std::size_t maxDepth = 32;

/** How many bytes a key may have: the records of its fault entries have 25
 *  bytes more. */
inline constexpr std::size_t maxKey = 485;

/** Whether a text is the root of the health tree or a path below it, of at most
 *  maxKey bytes. */
bool isKey(const char* text);

/** Why no node may have a key; empty when the key is the root of the health
 *  tree or a valid path below it. */
std::string explainInvalidKey(const std::string& key);

/** A key with its ancestors, the root first. */
std::vector<std::string> withAncestors(const std::string& key);

} // namespace healthintf::healthmgr
