// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file The comments that operators give. */

#include <cstddef>
#include <string>

namespace healthintf::healthmgr
{

/** How many bytes a comment may have. */
inline constexpr std::size_t maxComment = 512;

/** Why a text may not be a comment; empty when it may: one line of UTF-8 that
 *  is safe to print, and not blank. */
std::string explainInvalidComment(const std::string& comment);

} // namespace healthintf::healthmgr
