// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Which of a component's faults are reported. */

#include "limits.hpp"

#include <hmi_fault_health.hpp>

#include <cstdint>
#include <string>
#include <vector>

namespace healthintf::hostmon
{

/** A fault of one source. Its message and its sensor path identify it. */
struct SourceFault
{
    std::string messageId;
    std::string sensorPath;
    std::vector<std::string> arguments;
    std::string fqdd;
    std::string subSystem;
    uint32_t sensorNumber = 0;
    uint32_t sensorType = 0;
    /** Warning or critical, the same as the message's severity. */
    Level level = Level::warning;

    bool isSameFault(const SourceFault& other) const
    {
        return messageId == other.messageId && sensorPath == other.sensorPath;
    }
};

/** The messages that say how many more faults a component has than it can
 *  show. */
inline constexpr const char* moreFaultsId = "HostMonitor.1.0.MoreFaults";
inline constexpr const char* moreCriticalFaultsId =
    "HostMonitor.1.0.MoreCriticalFaults";

/** All faults of the sources of one component. Chooses which of them are
 *  reported.
 *
 *  A component shows ten faults, and the library drops one of them when an
 *  eleventh is added. So with more than ten faults, this class reports the nine
 *  most important ones and one that says how many more there are. Critical
 *  faults come before warnings, and older faults before newer ones. A fault
 *  that waits is reported when a place is free. */
class ComponentFaults
{
  public:
    /** @param[in] ownKey the component's key
     *  @param[in] owner the component, to which nobody else adds faults; must
     *  outlive this object */
    ComponentFaults(std::string ownKey,
                    health_namespace::FaultAndHealth& owner);

    /** Adds a fault, or updates the arguments of one that waits to be reported.
     *  A reported fault keeps its arguments. */
    void add(SourceFault fault);

    /** Removes a fault, reported or waiting. */
    void remove(const std::string& messageId, const std::string& sensorPath);

    /** Adds and removes faults on the component as they changed. Adds before it
     *  removes, so that the health does not improve for a moment. A fault whose
     *  message is in no registry gets a text made of its arguments. A fault
     *  that cannot be added is logged and tried again by the next call; until
     *  then an older fault of the same sensor stays. */
    void report();

  private:
    using Faults = std::vector<SourceFault>;

    Faults chooseReports() const;
    SourceFault summarize(const Faults& waiting) const;
    Faults findOutdatedReports(const Faults& wanted) const;
    bool isReported(const SourceFault& fault) const;
    void makeRoom(const SourceFault& fault, Faults& outdated);
    bool addReport(const SourceFault& fault);
    void removeReport(const SourceFault& fault);

    std::string key;
    health_namespace::FaultAndHealth& component;
    /** All faults in the order in which they were added. */
    Faults allFaults;
    Faults reported;
};

} // namespace healthintf::hostmon
