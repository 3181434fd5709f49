// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file A stand-in for the management controller that ipmitool talks to. */

#include "child.hpp"
#include "temporary_folder.hpp"

#include <optional>
#include <string>

namespace healthintf::test
{

/** A controller for ipmitool's interface "dummy", which connects to it by a
 *  socket. It answers the request for its device id and refuses all others. */
class IpmiStandIn
{
  public:
    IpmiStandIn();
    ~IpmiStandIn();
    IpmiStandIn(const IpmiStandIn&) = delete;
    IpmiStandIn& operator=(const IpmiStandIn&) = delete;

    /** The environment setting that leads ipmitool to the socket. */
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
