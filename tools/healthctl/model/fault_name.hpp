// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Faults as operators name them. */

#include "../source/health_source.hpp"

#include <string>

namespace healthintf::healthctl
{

/** The name of a fault's entry, such as "Fault_41CC000A_4". */
std::string entryName(const std::string& entryPath);

/** Finds the fault that an operator means: by the path of its entry, by an end
 *  of that which no other fault has, or by the component whose only fault it
 *  is.
 *
 *  @throws Error when there is none, or several */
const Fault& findFault(const Faults& faults, const std::string& written);

} // namespace healthintf::healthctl
