#pragma once

/** @file Processes in words. */

#include <sys/types.h>

#include <string>

namespace healthintf::healthctl
{

/** A living process's name and number, as "hostmon[17]". */
std::string nameOfProcess(pid_t pid);

} // namespace healthintf::healthctl
