// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file What the kernel tells of a process. */

#include "bus_findings.hpp"

#include <sys/types.h>

#include <cstdint>
#include <optional>
#include <string>

namespace healthintf::healthctl
{

/** The limit of open files in the text of a file /proc/PID/limits. */
std::optional<std::size_t> openFileLimitIn(const std::string& limits);

/** How many files a process has open; nothing when this user may not know. */
std::optional<OpenFiles> countOpenFiles(const std::string& program,
                                        uint32_t pid);

/** When a process of this PID namespace started, as the data cache has it;
 *  nothing when this user may not know. */
std::optional<uint64_t> readStartTime(uint32_t pid);

/** The user that a process runs as; nothing when it is gone. */
std::optional<uid_t> readUser(uint32_t pid);

} // namespace healthintf::healthctl
