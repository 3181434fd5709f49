#include "log_line.hpp"

#include <hmi_cfg_handlers.hpp>
#include <platform/config_manager.h>

#include <cstddef>
#include <string_view>

namespace health_namespace
{

using namespace details;

namespace
{

/** What a change says that was made by this library. */
constexpr std::string_view ownSource = "HealthManagerInterface";

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

/** Whether a callback was given what it needs; what is missing is logged in
 *  the name of @p function. */
bool argumentsGiven(const char* function, const uint8_t* data,
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

void processOemLcdEvent(const uint8_t* record)
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
    }
    else
    {
        HMI_LOG(log::progress, "%s.%d.%s: Unhiding errors");
    }
}

} // namespace

bool cfg_notif_check_self_source(const _CfgNotAttrChange* record)
{
    const auto* bytes = reinterpret_cast<const uint8_t*>(record);
    const uint32_t offset = littleEndian32(bytes + CFGMGR_CHANGE_SOURCE_OFFSET);
    return offset != 0 &&
           ownSource == reinterpret_cast<const char*>(bytes + offset);
}

void cfg_notif_handle_hide_err(const char* /*source*/, const char* /*name*/,
                               const uint8_t* data, uint64_t /*length*/,
                               void* context)
{
    HMI_LOG(log::trace, "%s.%d.%s Entry : hide error");
    if (!argumentsGiven(static_cast<const char*>(__func__), data, context))
    {
        return;
    }
    if (cfg_notif_check_self_source(
            reinterpret_cast<const _CfgNotAttrChange*>(data)))
    {
        HMI_LOG(log::progress, "%s.%d.%s: We have updated the attribute, skip "
                               "any operation\n");
    }
}

void cfg_notif_handle_oem_flags(const char* /*source*/, const char* /*name*/,
                                const uint8_t* data, uint64_t /*length*/,
                                void* context)
{
    HMI_LOG(log::trace, "%s.%d.%s Entry : lcd oem called error");
    if (argumentsGiven(static_cast<const char*>(__func__), data, context))
    {
        processOemLcdEvent(data);
    }
}

} // namespace health_namespace
