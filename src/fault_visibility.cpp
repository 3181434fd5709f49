// SPDX-License-Identifier: Apache-2.0
// Log readers know these lines by the file of the class.
#define HMI_LOG_FILE "hmi_fault_health"

#include "bus_match.hpp"
#include "bus_text.hpp"
#include "log_line.hpp"
#include "raw_bus.hpp"

#include <com/vexa/olvar/healthmgr/names.hpp>
#include <com/vexa/olvar/logmgr/names.hpp>
#include <hmi_fault_health.hpp>
#include <hmi_health_value.hpp>
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

/** Why a component hides all its faults, as bits of visibilityFlags. */
enum VisibilityFlag : uint64_t
{
    /** The LCD's settings hide all faults. */
    hideAllFlag = 0x2,
    /** The component is disabled. */
    disabledFlag = 0x8,
};

void setFlag(uint64_t& flags, VisibilityFlag flag, bool set)
{
    flags = set ? flags | flag : flags & ~static_cast<uint64_t>(flag);
}

template <typename Value>
bool contains(const std::list<Value>& list, const Value& value)
{
    return std::ranges::find(list, value) != list.end();
}

} // namespace

int FaultAndHealth::hideAll()
{
    HMI_LOG_AS("hideFaults", log::trace, "%s.%d.%s Entry : Hide all Faults");
    for (const auto& entry : faultList)
    {
        entry->hidden(true);
    }
    return publishHealth();
}

template <typename Property>
void FaultAndHealth::hideBy(std::list<typename Property::type>& hiddenValues,
                            const typename Property::type& value)
{
    if (!contains(hiddenValues, value))
    {
        hiddenValues.push_back(value);
    }
    bool matched = false;
    for (const auto& entry : faultList)
    {
        if (Property::storedValue(*entry) == value)
        {
            entry->hidden(true);
            matched = true;
        }
    }
    if (matched)
    {
        publishHealth();
    }
}

int FaultAndHealth::unhideAll()
{
    constexpr const char* function = "unhideFaults";
    HMI_LOG_AS(function, log::trace, "%s.%d.%s Entry : Unhide Faults");
    if (visibilityFlags != 0)
    {
        HMI_LOG_AS(function, log::progress,
                   "%s.%d.%s: %04lx atleast one of the entry is set",
                   static_cast<unsigned long>(visibilityFlags));
        return static_cast<int>(visibilityFlags);
    }
    bool shown = false;
    for (const auto& entry : faultList)
    {
        const uint32_t number =
            FaultEntry::sensorNumberProperty::storedValue(*entry);
        const std::string& path =
            FaultEntry::sensorPathProperty::storedValue(*entry);
        if (contains(hiddenSensorNumbers, number) ||
            contains(hiddenSensorPaths, path))
        {
            HMI_LOG_AS(function, log::progress, "%s.%d.%s: %d:%s:in list",
                       number, path.c_str());
        }
        else
        {
            entry->hidden(false);
            shown = true;
        }
    }
    return shown ? publishHealth() : static_cast<int>(visibilityFlags);
}

template <typename Property>
int FaultAndHealth::setHidden(bool hide,
                              std::list<typename Property::type>& hiddenValues,
                              const typename Property::type& value)
{
    if (hide)
    {
        hideBy<Property>(hiddenValues, value);
        return statusOk;
    }
    hiddenValues.remove(value);
    return unhideAll();
}

int FaultAndHealth::hideFaults()
{
    return runAndLogFailure(__func__, [this] {
        return hideAll();
    });
}

void FaultAndHealth::hideFaults(unsigned int sensorNumber)
{
    runAndLogFailure(__func__, [&] {
        return setHidden<FaultEntry::sensorNumberProperty>(
            true, hiddenSensorNumbers, sensorNumber);
    });
}

void FaultAndHealth::hideFaults(const std::string& sensorPath)
{
    runAndLogFailure(__func__, [&] {
        return setHidden<FaultEntry::sensorPathProperty>(
            true, hiddenSensorPaths, sensorPath);
    });
}

int FaultAndHealth::unhideFaults()
{
    return runAndLogFailure(__func__, [this] {
        return unhideAll();
    });
}

int FaultAndHealth::unhideFaults(unsigned int sensorNumber)
{
    return runAndLogFailure(__func__, [&] {
        return setHidden<FaultEntry::sensorNumberProperty>(
            false, hiddenSensorNumbers, sensorNumber);
    });
}

int FaultAndHealth::unhideFaults(const std::string& sensorPath)
{
    return runAndLogFailure(__func__, [&] {
        return setHidden<FaultEntry::sensorPathProperty>(
            false, hiddenSensorPaths, sensorPath);
    });
}

int FaultAndHealth::HideAllFaults(bool hide)
{
    setFlag(visibilityFlags, hideAllFlag, hide);
    return hide ? hideFaults() : unhideFaults();
}

int FaultAndHealth::Disable()
{
    if ((visibilityFlags & disabledFlag) != 0)
    {
        return static_cast<int>(visibilityFlags);
    }
    HMI_LOG(log::progress, "%s.%d.%s: %s", key.c_str());
    setFlag(visibilityFlags, disabledFlag, true);
    healthNode->healthStatus(healthNone);
    return hideFaults();
}

int FaultAndHealth::Enable()
{
    if ((visibilityFlags & disabledFlag) == 0)
    {
        return static_cast<int>(visibilityFlags);
    }
    HMI_LOG(log::progress, "%s.%d.%s: %s", key.c_str());
    setFlag(visibilityFlags, disabledFlag, false);
    healthNode->healthStatus(healthOk);
    return unhideFaults();
}

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

/** The match rule of a signal from one path, by any sender. */
std::string signalRule(const char* path, const char* interface,
                       const char* member)
{
    // Not sdbusplus' own functions for rules: they are noexcept and end the
    // process when memory runs out.
    return std::string("type='signal',path='") + path + "',interface='" +
           interface + "',member='" + member + "',";
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
        setFlag(visibilityFlags, disabledFlag, hide);
        hide ? hideAll() : unhideAll();
    }
    else if (!sensorPath.empty())
    {
        setHidden<FaultEntry::sensorPathProperty>(hide, hiddenSensorPaths,
                                                  sensorPath);
    }
    else if (sensorNumber != 0)
    {
        setHidden<FaultEntry::sensorNumberProperty>(
            hide, hiddenSensorNumbers, static_cast<uint32_t>(sensorNumber));
    }
    if (healthPath == key)
    {
        HMI_LOG(log::progress, "%s.%d.%s: Health Path Matched");
    }
    return 0;
}

void FaultAndHealth::RegisterForClearSELSignal()
{
    const std::string rule =
        signalRule(names::selPath, names::selInterface, names::selCleared);
    clearSelMatch = makeMatch(bus, rule, HMI_HANDLER("clearSELSignalHandler"),
                              [this](sdbusplus::message_t& message) {
                                  clearSELSignalHandler(message);
                              });
    HMI_LOG(log::progress, "%s.%d.%s: Registered clear SEL  Signal Handler");
    HMI_LOG(log::progress, "%s.%d.%s: %s", rule.c_str());
}

int FaultAndHealth::clearSELSignalHandler(sdbusplus::message_t& /*message*/)
{
    HMI_LOG(log::progress, "%s.%d.%s: clear SEL Signal Received");
    return 0;
}

} // namespace health_namespace
