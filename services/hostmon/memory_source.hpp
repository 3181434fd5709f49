// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file How much memory is available. */

#include <filesystem>

namespace healthintf::hostmon
{

/** Reads how much memory is available without swapping, in percent of all.
 *
 *  @param[in] meminfo the kernel's file, /proc/meminfo
 *  @throws std::runtime_error when it cannot be read */
double readAvailableMemory(const std::filesystem::path& meminfo);

} // namespace healthintf::hostmon
