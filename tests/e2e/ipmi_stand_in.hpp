// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file What ipmitool talks to where there is no management controller. */

#include "child.hpp"
#include "temporary_folder.hpp"

#include <optional>
#include <string>

namespace healthintf::test
{

/** A controller for ipmitool's interface "dummy", which reaches it on a
 *  socket. It says who it is and can do nothing else. */
class IpmiStandIn
{
  public:
    IpmiStandIn();
    ~IpmiStandIn();
    IpmiStandIn(const IpmiStandIn&) = delete;
    IpmiStandIn& operator=(const IpmiStandIn&) = delete;

    /** What ipmitool finds it by. */
    std::string environment() const
    {
        return "IPMI_DUMMY_SOCK=" + path;
    }

  private:
    TemporaryFolder folder;
    std::string path;
    int listening;
    std::optional<Child> controller;
};

} // namespace healthintf::test
