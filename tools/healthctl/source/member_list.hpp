// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Lists of healthmgr, whose elements are maps of named members. */

#include "../service_client.hpp"
#include "healthmgr/members.hpp"

#include <vector>

namespace healthintf::healthctl
{

/** Calls a method of healthmgr that lists things; does not start it.
 *
 *  @throws Error when it does not answer, or is not running */
std::vector<host::Members> readList(const ServiceMethod& method);

} // namespace healthintf::healthctl
