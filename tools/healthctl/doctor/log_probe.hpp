// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Looks at the log and its mirror. */

#include "log_findings.hpp"

#include <optional>

namespace healthintf::healthctl
{

/** Compares the log with its mirror in the data cache. logmgr must be
 *  running. */
LogComparison compareLogWithMirror();

/** Asks logmgr for the log's properties; nothing when it does not answer. */
std::optional<services::LogStatus> askLogStatus();

} // namespace healthintf::healthctl
