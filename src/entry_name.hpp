// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file How fault entries are named. */

#include <cstdint>
#include <string>

namespace health_namespace::details
{

/** The name of a fault entry below its component's key, for example
 *  "Fault_04D2000A_4".
 *
 *  The number always has four digits, so names of different processes differ
 *  even where the process id takes more than four.
 *
 *  @param[in] process id of the process that makes the entry
 *  @param[in] number the entry's number within the process
 *  @param[in] health the health value that the entry stands for */
std::string entryName(uint32_t process, uint16_t number, uint32_t health);

} // namespace health_namespace::details
