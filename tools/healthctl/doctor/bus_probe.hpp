// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Looks at the bus and at what is on it. Nothing is changed: calls that
 *  could do something are made so that the service refuses them, and no service
 *  is started. */

#include "bus_findings.hpp"
#include "match_findings.hpp"

#include <platform/bus_handles.hpp>

#include <systemd/sd-bus.h>

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace healthintf::healthctl
{

class BusProbe
{
  public:
    /** Connects. */
    BusProbe();

    const BusState& state() const
    {
        return reached;
    }

    bool connected() const
    {
        return bus != nullptr;
    }

    sd_bus* get() const
    {
        return bus.get();
    }

    /** The services of this project. This function and those below need a
     *  connection. */
    std::vector<ServiceState> services() const;

    /** Whether healthmgr runs and answers. Does not tell whether the bus can
     *  start it. */
    ServiceState healthmgr() const;

    /** Tries what the policies are about.
     *
     *  @param[in] services what is not running is not called */
    std::vector<Attempt>
    attempts(const std::vector<ServiceState>& services) const;

    /** The numbers of the processes by the unique names of their
     *  connections. */
    std::map<std::string, uint32_t> connections() const;

    MatchUses matchRules() const;

    MatchQuotas matchQuotas() const;

  private:
    ServiceState look(ServiceState service) const;

    BusPtr bus;
    BusState reached;
};

} // namespace healthintf::healthctl
