// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Which lines of the debug log are written. */

#include <optional>
#include <string_view>

namespace healthintf::host
{

/** The default threshold: errors and warnings. */
inline constexpr int defaultLogLevel = 4;

/** Reads a log level.
 *
 *  @return 0 (nothing) to 9 (everything); nullopt for any other text */
std::optional<int> parseLogLevel(std::string_view text);

/** The highest level that is written: $HEALTHINTF_LOG_LEVEL as it was when
 *  the process logged first. */
int logThreshold();

} // namespace healthintf::host
