#pragma once

/** @file How much tasks wait for a resource. */

#include <filesystem>

namespace healthintf::hostmon
{

/** In how much of the time some task waited, in percent.
 *
 *  @param[in] pressure the kernel's file, for example /proc/pressure/io
 *  @param[in] seconds over which time: 10, 60 or 300
 *  @throws std::runtime_error when it cannot be read, which is so where the
 *          kernel keeps no pressure information */
double pressurePercent(const std::filesystem::path& pressure, int seconds);

} // namespace healthintf::hostmon
