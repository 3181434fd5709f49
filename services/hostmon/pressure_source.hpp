// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file How long tasks wait for a resource. */

#include <filesystem>

namespace healthintf::hostmon
{

/** Reads in which part of the time some task waited, in percent.
 *
 *  @param[in] pressure the kernel's file, for example /proc/pressure/io
 *  @param[in] seconds the averaging time: 10, 60 or 300
 *  @throws std::runtime_error when it cannot be read, for example because the
 *          kernel has no pressure information */
double readPressurePercent(const std::filesystem::path& pressure, int seconds);

} // namespace healthintf::hostmon
