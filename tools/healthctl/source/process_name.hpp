#pragma once

/** @file Processes in words. */

#include <sys/types.h>

#include <string>

namespace healthintf::healthctl
{

/** A process's name and number, as "hostmon[17]"; its number alone where /proc
 *  does not show it. */
std::string nameOfProcess(pid_t pid);

} // namespace healthintf::healthctl
