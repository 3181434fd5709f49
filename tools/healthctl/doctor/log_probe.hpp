#pragma once

/** @file Looks at the log and its mirror. */

#include "log_findings.hpp"

namespace healthintf::healthctl
{

/** Compares the log of the log manager, which must be running, with its mirror
 *  in the data cache. */
LogComparison compareLogWithMirror();

} // namespace healthintf::healthctl
