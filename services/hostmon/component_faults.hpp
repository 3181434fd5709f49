#pragma once

/** @file Which of a component's faults are reported. */

#include "limits.hpp"

#include <hmi_fault_health.hpp>

#include <cstdint>
#include <string>
#include <vector>

namespace healthintf::hostmon
{

/** A fault that a source has. Message and sensor path are its name. */
struct SourceFault
{
    std::string messageId;
    std::string sensorPath;
    std::vector<std::string> arguments;
    std::string fqdd;
    std::string subSystem;
    uint32_t sensorNumber = 0;
    uint32_t sensorType = 0;
    /** Warning or critical, as the message's severity is. */
    Level level = Level::warning;

    bool isNamedAs(const SourceFault& other) const
    {
        return messageId == other.messageId && sensorPath == other.sensorPath;
    }
};

/** The messages that stand for the faults for which there is no place. */
inline constexpr const char* moreFaultsId = "HostMonitor.1.0.MoreFaults";
inline constexpr const char* moreCriticalFaultsId =
    "HostMonitor.1.0.MoreCriticalFaults";

/** All faults of the sources of one component, and those of them that are
 *  reported.
 *
 *  A component has ten places, and the library drops a fault when an eleventh
 *  comes. So that none is lost, never more than ten are reported: with more,
 *  the nine most important and one that says how many more there are. Critical
 *  ones come first, and of one level those that are there longer. The others
 *  are reported when there is a place for them. */
class ComponentFaults
{
  public:
    /** @param[in] ownKey the component's key
     *  @param[in] owner reports the faults, and nobody else does so on it; must
     *             outlive this object */
    ComponentFaults(std::string ownKey,
                    health_namespace::FaultAndHealth& owner);

    /** Adds a fault, or puts new arguments into one that waits to be
     *  reported. One that is reported stays as it is. */
    void add(SourceFault fault);

    /** Removes a fault, whether it is reported or waits. */
    void remove(const std::string& messageId, const std::string& sensorPath);

    /** Reports what has changed. New faults come before old ones go, so that
     *  the health does not dip in between. A fault whose message no registry
     *  has gets a text of its own. What cannot be reported is logged
     *  and tried again the next time; until then an older fault of the same
     *  sensor stays. */
    void report();

  private:
    using Faults = std::vector<SourceFault>;

    Faults wantedReports() const;
    SourceFault moreFaults(const Faults& waiting) const;
    Faults outdatedReports(const Faults& wanted) const;
    bool isReported(const SourceFault& fault) const;
    void makeRoom(const SourceFault& fault, Faults& outdated);
    bool addReport(const SourceFault& fault);
    void removeReport(const SourceFault& fault);

    std::string key;
    health_namespace::FaultAndHealth& component;
    /** In the order in which they came. */
    Faults present;
    Faults reported;
};

} // namespace healthintf::hostmon
