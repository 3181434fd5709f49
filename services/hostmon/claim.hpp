#pragma once

/** @file Which hostmon may report on a component. */

#include "../common/connection.hpp"
#include "config.hpp"

#include <string>

namespace healthintf::hostmon
{

/** The bus name that the hostmon owns which reports on a component: of one key
 *  one name, and of different keys different ones. */
std::string busNameOf(const std::string& component);

/** Owns the names of all components of a configuration until the connection
 *  ends.
 *
 *  @throws std::runtime_error naming the component when another hostmon has
 *          it, or the bus does not let this user have the name */
void claimKeys(services::Connection& connection, const Config& config);

} // namespace healthintf::hostmon
