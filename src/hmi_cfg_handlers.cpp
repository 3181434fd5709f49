// SPDX-License-Identifier: Apache-2.0
#include "log_line.hpp"

#include <hmi_cfg_handlers.hpp>
#include <hmi_fault_health.hpp>
#include <platform/config_manager.h>
#include <platform/notification.h>

#include <string_view>
#include <utility>

namespace health_namespace
{

using namespace details;

namespace
{

constexpr const char* hideErrorsNotification =
    "CfgMgr/1/AttributeChange/system.embedded.1#lcd.1#hideerrs";
constexpr const char* oemFlagsNotification =
    "CfgMgr/1/AttributeChange/system.embedded.1#lcd.1#oemLCDFlags";

constexpr const char* hideErrorsAttribute = "system.embedded.1#lcd.1#hideerrs";
/** The value of hideerrs that hides errors; any other value, such as 1, shows
 *  them. */
constexpr uint32_t hideErrors = 0;
constexpr int32_t showErrors = 1;

/** The source that a change names when this library made it. */
constexpr const char* ownSource = "HealthManagerInterface";

/** The bit of oemLCDFlags that hides errors for good. */
constexpr uint32_t alwaysHideErrors = 1;

uint32_t littleEndian32(const uint8_t* bytes)
{
    return static_cast<uint32_t>(bytes[0]) |
           static_cast<uint32_t>(bytes[1]) << 8 |
           static_cast<uint32_t>(bytes[2]) << 16 |
           static_cast<uint32_t>(bytes[3]) << 24;
}

uint32_t newValue(const uint8_t* record)
{
    return littleEndian32(record + CFGMGR_CHANGE_NEW_VALUE_OFFSET);
}

uint32_t previousValue(const uint8_t* record)
{
    return littleEndian32(record + CFGMGR_CHANGE_PREVIOUS_VALUE_OFFSET);
}

/** Whether a callback got its data and context; logs in the name of @p function
 *  what is missing. */
bool checkArguments(const char* function, const uint8_t* data,
                    const void* context)
{
    if (context == nullptr)
    {
        HMI_LOG_AS(function, log::error, "%s.%d.%s: Invalid argument");
        return false;
    }
    if (data == nullptr)
    {
        HMI_LOG_AS(function, log::error, "%s.%d.%s: invalid data argument");
        return false;
    }
    return true;
}

void processOemLcdEvent(const uint8_t* record, FaultAndHealth& component)
{
    HMI_LOG(log::progress, "%s.%d.%s: Entered");
    const uint32_t now = newValue(record);
    const uint32_t before = previousValue(record);
    if ((now & alwaysHideErrors) == (before & alwaysHideErrors))
    {
        HMI_LOG(log::error,
                "%s.%d.%s: Unknown option new value = 0x%08x previous value "
                "= 0x%08x",
                now, before);
    }
    else if ((now & alwaysHideErrors) != 0)
    {
        HMI_LOG(log::progress, "%s.%d.%s: Always Hiding errors");
        component.HideAllFaults(true);
    }
    else
    {
        HMI_LOG(log::progress, "%s.%d.%s: Unhiding errors");
        setLCDAttributeInt(hideErrorsAttribute, showErrors, ownSource, nullptr,
                           nullptr);
        component.HideAllFaults(false);
    }
}

} // namespace

bool cfg_notif_check_self_source(const _CfgNotAttrChange* record)
{
    const auto* bytes = reinterpret_cast<const uint8_t*>(record);
    const uint32_t offset = littleEndian32(bytes + CFGMGR_CHANGE_SOURCE_OFFSET);
    return offset != 0 && std::string_view(ownSource) ==
                              reinterpret_cast<const char*>(bytes + offset);
}

void cfg_notif_handle_hide_err(const char* /*source*/, const char* /*name*/,
                               const uint8_t* data, uint64_t /*length*/,
                               void* context)
{
    HMI_LOG(log::trace, "%s.%d.%s Entry : hide error");
    if (!checkArguments(__func__, data, context))
    {
        return;
    }
    if (cfg_notif_check_self_source(
            reinterpret_cast<const _CfgNotAttrChange*>(data)))
    {
        HMI_LOG(log::progress, "%s.%d.%s: We have updated the attribute, skip "
                               "any operation\n");
        return;
    }
    static_cast<FaultAndHealth*>(context)->HideAllFaults(newValue(data) ==
                                                         hideErrors);
}

void cfg_notif_handle_oem_flags(const char* /*source*/, const char* /*name*/,
                                const uint8_t* data, uint64_t /*length*/,
                                void* context)
{
    HMI_LOG(log::trace, "%s.%d.%s Entry : lcd oem called error");
    if (checkArguments(__func__, data, context))
    {
        processOemLcdEvent(data, *static_cast<FaultAndHealth*>(context));
    }
}

int setLCDAttributeInt(const char* name, int32_t value, const char* source,
                       const char* a, const char* b)
{
    const CfgMgrOrigin origin{source, a, b};
    const int result = CfgSetAttributeInt(name, value, 0, &origin);
    if (result != 0)
    {
        HMI_LOG(log::error,
                "%s.%d.%s: Unable to set interger attribute %s to value %d; rc "
                "= %d\n",
                name, value, result);
    }
    return result;
}

namespace
{

uint64_t subscribe(const char* notification, LQOVS_callback callback,
                   FaultAndHealth* context)
{
    return reinterpret_cast<uintptr_t>(
        LQOVS_receive_signal(notification, callback, context));
}

void unsubscribe(uint64_t& handle)
{
    if (handle != 0)
    {
        // The class keeps the handle as a number; the platform takes a pointer.
        const auto number =
            static_cast<uintptr_t>(std::exchange(handle, uint64_t{0}));
        // NOLINTNEXTLINE(performance-no-int-to-ptr)
        LQOVS_receive_signal_free(reinterpret_cast<void*>(number));
    }
}

} // namespace

uint64_t FaultAndHealth::RegisterForLCDAttributes()
{
    // The logged name has one '#' more than the subscribed one. Log readers
    // search for it in this form.
    HMI_LOG(log::trace, "%s.%d.%s Entry : LCD Attr register %s",
            "CfgMgr/1/AttributeChange/#system.embedded.1#lcd.1#hideerrs");
    UnregisterLCDAttributes();
    hideErrorsHandle =
        subscribe(hideErrorsNotification, cfg_notif_handle_hide_err, this);
    oemFlagsHandle =
        subscribe(oemFlagsNotification, cfg_notif_handle_oem_flags, this);
    return oemFlagsHandle;
}

void FaultAndHealth::UnregisterLCDAttributes()
{
    unsubscribe(hideErrorsHandle);
    unsubscribe(oemFlagsHandle);
}

} // namespace health_namespace
