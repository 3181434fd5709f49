// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Bus names that let only one hostmon report on a component. */

#include "../common/connection.hpp"
#include "config.hpp"

#include <string>

namespace healthintf::hostmon
{

/** The bus name that a hostmon must own to report on a component. Different
 *  keys have different names. */
std::string makeBusName(const std::string& component);

/** Requests the bus names of all components of a configuration. They are owned
 *  until the connection ends.
 *
 *  @throws std::runtime_error naming the component when another hostmon owns
 *          its name, or the bus policy denies the name to this user */
void claimComponents(services::Connection& connection, const Config& config);

} // namespace healthintf::hostmon
