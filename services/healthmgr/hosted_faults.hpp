// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Faults that healthmgr itself reports on nodes that it hosts. */

#include <hmi_fault_health.hpp>

#include <string>
#include <vector>

namespace healthintf::healthmgr
{

/** Whoever has faults on hosted nodes, see HostedNodes::holdFor(). */
class HostedFaults
{
  public:
    HostedFaults() = default;
    HostedFaults(const HostedFaults&) = delete;
    HostedFaults& operator=(const HostedFaults&) = delete;
    virtual ~HostedFaults() = default;

    /** The components with such faults, whose nodes are hosted and stay. */
    virtual std::vector<std::string> components() const = 0;

    /** Whether a component has such faults. */
    virtual bool has(const std::string& key) const = 0;

    /** Reports the faults of a component on its node, which has none of
     *  them. */
    virtual void report(const std::string& key,
                        health_namespace::FaultAndHealth& node) = 0;

    /** Ends the faults of a component that a daemon holds now.
     *
     *  @return whether there were any */
    virtual bool giveUp(const std::string& key) = 0;
};

} // namespace healthintf::healthmgr
