// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file The exit codes of monitoring plugins. */

namespace healthintf::healthctl
{

/** How things are, as a monitoring plugin exits. Monitoring systems rely on
 *  the numbers. */
enum class CheckState : int
{
    ok = 0,
    warning = 1,
    critical = 2,
    /** It could not be found out, or the command line cannot be understood. */
    unknown = 3,
};

} // namespace healthintf::healthctl
