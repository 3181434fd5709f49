#pragma once

/** @file How much memory there is. */

#include <filesystem>

namespace healthintf::hostmon
{

/** The memory that is available without swapping, in percent of all.
 *
 *  @param[in] meminfo the kernel's file, /proc/meminfo
 *  @throws std::runtime_error when it cannot be read */
double availableMemoryPercent(const std::filesystem::path& meminfo);

} // namespace healthintf::hostmon
