// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Processes and users in words. */

#include <sys/types.h>

#include <string>

namespace healthintf::healthctl
{

/** A process's name and number, as "hostmon[17]"; its number alone where /proc
 *  does not show it. */
std::string readProcessName(pid_t pid);

/** A user's name; his number where the system knows no name. */
std::string readUserName(uid_t user);

} // namespace healthintf::healthctl
