// SPDX-License-Identifier: Apache-2.0
// Log readers know these lines by the file of the class.
#define HMI_LOG_FILE "hmi_fault_health"

#include "bus_match.hpp"
#include "bus_text.hpp"
#include "log_line.hpp"
#include "raw_bus.hpp"

#include <com/vexa/olvar/healthmgr/names.hpp>
#include <hmi_fault_health.hpp>
#include <platform/bus_handles.hpp>
#include <platform/signal_blocker.hpp>

#include <systemd/sd-bus.h>

#include <algorithm>
#include <cstddef>
#include <stdexcept>
#include <type_traits>

namespace health_namespace
{

using namespace details;
namespace names = healthintf::names;

namespace
{

/** The default connection of this thread; null when it cannot be opened. Not an
 *  sdbusplus::bus_t, whose constructor throws for a lost connection without
 *  saying why. */
healthintf::BusPtr defaultBus()
{
    sd_bus* bus = nullptr;
    sd_bus_default(&bus);
    return healthintf::BusPtr(bus);
}

/** Makes a signal that has no arguments yet.
 *
 *  @throws sdbusplus::exception::SdBusError when it cannot be made, also when
 *          @p bus is null */
sdbusplus::message_t newSignal(sd_bus* bus, const char* path,
                               const char* interface, const char* member)
{
    sd_bus_message* message = nullptr;
    requireDone(
        sd_bus_message_new_signal(bus, &message, path, interface, member),
        "sd_bus_message_new_signal");
    return {message, std::false_type()};
}

} // namespace

int FaultAndHealth::SendHideFaultsSignal(bool hide,
                                         const std::string& healthPath,
                                         const std::string& sensorPath,
                                         int sensorNumber)
{
    HMI_LOG(log::trace, "%s.%d.%s Entry : Hide Errors [%d, %s]", sensorNumber,
            healthPath.c_str());
    if (healthPath.empty() && sensorPath.empty() && sensorNumber == 0)
    {
        HMI_LOG(log::error, "%s.%d.%s: All the parameters are empty");
        return statusInvalidArgument;
    }
    try
    {
        BusTextCheck check(maxFaultText);
        check.require("health path", healthPath);
        check.require("sensor path", sensorPath);
    }
    catch (const std::logic_error& e)
    {
        HMI_LOG(log::error, "%s.%d.%s: %s", e.what());
        return statusInvalidArgument;
    }
    const healthintf::SignalBlocker blocker;
    const auto bus = defaultBus();
    auto signal = newSignal(bus.get(), names::root, names::managerInterface,
                            FaultEntry::HideFaultForSensor::name);
    signal.append(hide, healthPath, sensorPath, sensorNumber);
    signal.signal_send();
    // Dropping the last reference to the connection drops what is unsent.
    requireDone(sd_bus_flush(bus.get()), "sd_bus_flush");
    HMI_LOG(log::progress, "%s.%d.%s: HideFaultForSensor signal sent");
    return statusOk;
}

void FaultAndHealth::RegisterForHideFaultsSignal()
{
    const std::string rule = signalRule(names::root, names::managerInterface,
                                        FaultEntry::HideFaultForSensor::name);
    hideFaultsMatch =
        makeMatch(bus, rule, HMI_HANDLER("hideFaultSignalHandler"),
                  [this](sdbusplus::message_t& message) {
                      hideFaultSignalHandler(message);
                  });
    HMI_LOG(log::progress,
            "%s.%d.%s: Registered the hide Fault Signal Handler");
    HMI_LOG(log::progress, "%s.%d.%s: %s", rule.c_str());
}

int FaultAndHealth::hideFaultSignalHandler(sdbusplus::message_t& message)
{
    bool hide = false;
    std::string healthPath;
    std::string sensorPath;
    int32_t sensorNumber = 0;
    message.read(hide, healthPath, sensorPath, sensorNumber);
    if (const std::size_t longest =
            std::max(healthPath.size(), sensorPath.size());
        longest > maxHideText)
    {
        HMI_LOG(log::warning,
                "%s.%d.%s: a hide signal is refused: a text has %zu bytes, "
                "more than %zu",
                longest, maxHideText);
        return 0;
    }
    HMI_LOG(log::progress, "%s.%d.%s: %s", key.c_str());
    if (!healthPath.empty() && healthPath == key)
    {
        setDisabled(hide);
    }
    else if (!sensorPath.empty())
    {
        setSensorHidden(hide, sensorPath);
    }
    else if (sensorNumber != 0)
    {
        setSensorHidden(hide, static_cast<uint32_t>(sensorNumber));
    }
    if (healthPath == key)
    {
        HMI_LOG(log::progress, "%s.%d.%s: Health Path Matched");
    }
    return 0;
}

} // namespace health_namespace
