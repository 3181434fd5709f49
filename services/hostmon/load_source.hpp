// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file How busy the processors are. */

#include <filesystem>

namespace healthintf::hostmon
{

/** Reads the load average, divided by the processors that are online.
 *
 *  @param[in] loadavg the kernel's file, /proc/loadavg
 *  @param[in] minutes 1, 5 or 15
 *  @throws std::runtime_error when it cannot be read */
double readLoadPerProcessor(const std::filesystem::path& loadavg, int minutes);

} // namespace healthintf::hostmon
