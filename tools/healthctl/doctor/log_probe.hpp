// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Looks at the log and its mirror. */

#include "log_findings.hpp"

namespace healthintf::healthctl
{

/** Compares the log with its mirror in the data cache. logmgr must be
 *  running. */
LogComparison compareLogWithMirror();

} // namespace healthintf::healthctl
