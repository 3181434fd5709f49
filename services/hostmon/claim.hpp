// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Bus names that let only one hostmon report on a component. */

#include "../common/connection.hpp"
#include "config.hpp"

#include <memory>
#include <set>
#include <string>

namespace healthintf::hostmon
{

/** The bus name that a hostmon must own to report on a component. Different
 *  keys have different names. */
std::string makeBusName(const std::string& component);

/** The components that this hostmon reports on. Claiming one throws
 *  std::runtime_error naming it when another hostmon owns its bus name, or the
 *  bus policy denies the name to this user. */
class ComponentClaims
{
  public:
    /** Claims the components of all tables, until the connection ends.
     *
     *  @param[in] bus owns the names; must outlive this object and all claims
     *  @param[in] config the tables */
    ComponentClaims(services::Connection& bus, const Config& config);

    /** Claims the component of a device.
     *
     *  @return the claim, which ends when it is destroyed; null when the
     *          component is also that of a table */
    std::shared_ptr<void> claim(const std::string& component) const;

  private:
    services::Connection& connection;
    std::set<std::string> ofTables;
};

} // namespace healthintf::hostmon
