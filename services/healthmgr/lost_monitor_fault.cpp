// SPDX-License-Identifier: Apache-2.0
#include "lost_monitor_fault.hpp"

#include "../common/service_log.hpp"
#include "healthmgr/protocol.hpp"

#include <hmi_health_value.hpp>
#include <hmi_status.hpp>
#include <hmi_utils.hpp>

#include <sdbusplus/exception.hpp>

#include <string>
#include <vector>

namespace healthintf::healthmgr
{

namespace log = services::log;

namespace
{

/** Sensor type code of IPMI 2.0, table 42-3: management subsystem health. */
constexpr uint32_t ipmiSubsystemHealth = 0x28;

} // namespace

uint32_t chooseSeverity(const LostMonitor& monitor)
{
    constexpr uint32_t critical = 1;
    constexpr uint32_t warning = 2;
    return monitor.worst >= health_namespace::healthCritical ? critical
                                                             : warning;
}

bool reportLostMonitor(health_namespace::FaultAndHealth& node,
                       const LostMonitor& monitor)
{
    const std::vector<std::string> arguments{
        monitor.process.empty() ? "unknown" : monitor.process,
        std::to_string(monitor.pid), std::to_string(monitor.faults),
        health_namespace::healthWord(monitor.worst)};
    health_namespace::MessageContent content;
    if (_GetMessageContent(host::monitorLostMessage, arguments, content) != 0)
    {
        // The registry is missing, which is no reason to be silent.
        content.text = "The process " + arguments[0] + " (" + arguments[1] +
                       ") ended without giving this component up.";
    }
    return node.addFault(host::monitorLostMessage, "", arguments, "", "", 0,
                         ipmiSubsystemHealth, content.text,
                         chooseSeverity(monitor), "",
                         0) == health_namespace::statusOk;
}

void withdrawLostMonitor(health_namespace::FaultAndHealth& node)
{
    try
    {
        node.deleteFaultListAll();
    }
    catch (const sdbusplus::exception_t& e)
    {
        SERVICE_LOG(log::error, "%s.%d.%s: unable to send the health: %s",
                    e.what());
    }
}

} // namespace healthintf::healthmgr
