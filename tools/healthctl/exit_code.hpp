// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file The exit codes of healthctl. */

namespace healthintf::healthctl
{

/** How a command ended. Scripts rely on the numbers. */
enum class ExitCode : int
{
    ok = 0,
    /** It worked, and the answer is no: nothing was found, or not all is as it
     *  should be. */
    nothingFound = 1,
    /** The command line cannot be understood. */
    usage = 2,
    /** Nothing runs: no bus, no service, no data cache. */
    unavailable = 3,
    /** This user may not do it. */
    notPermitted = 4,
    /** Anything else that went wrong. */
    failed = 5,
    /** There is no such component, fault, silence, message or entry of the log;
     *  or the component has no lost monitor, or the fault no acknowledgement.
     */
    notThere = 6,
};

} // namespace healthintf::healthctl
