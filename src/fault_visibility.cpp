// SPDX-License-Identifier: Apache-2.0
// Log readers know these lines by the file of the class.
#define HMI_LOG_FILE "hmi_fault_health"

#include "log_line.hpp"

#include <hmi_fault_health.hpp>
#include <hmi_health_value.hpp>

#include <algorithm>

namespace health_namespace
{

using namespace details;
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

int FaultAndHealth::setSensorHidden(bool hide, const std::string& sensorPath)
{
    return setHidden<FaultEntry::sensorPathProperty>(hide, hiddenSensorPaths,
                                                     sensorPath);
}

int FaultAndHealth::setSensorHidden(bool hide, uint32_t sensorNumber)
{
    return setHidden<FaultEntry::sensorNumberProperty>(
        hide, hiddenSensorNumbers, sensorNumber);
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
        return setSensorHidden(true, sensorNumber);
    });
}

void FaultAndHealth::hideFaults(const std::string& sensorPath)
{
    runAndLogFailure(__func__, [&] {
        return setSensorHidden(true, sensorPath);
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
        return setSensorHidden(false, sensorNumber);
    });
}

int FaultAndHealth::unhideFaults(const std::string& sensorPath)
{
    return runAndLogFailure(__func__, [&] {
        return setSensorHidden(false, sensorPath);
    });
}

int FaultAndHealth::HideAllFaults(bool hide)
{
    setFlag(visibilityFlags, hideAllFlag, hide);
    return hide ? hideFaults() : unhideFaults();
}

void FaultAndHealth::setDisabled(bool disabled)
{
    setFlag(visibilityFlags, disabledFlag, disabled);
    disabled ? hideAll() : unhideAll();
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

} // namespace health_namespace
