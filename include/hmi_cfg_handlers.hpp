#pragma once

/** @file Takes the changes of the front-panel LCD's configuration
 *  attributes. */

#include <com/vexa/olvar/api.hpp>

#include <cstdint>

namespace health_namespace
{

/** A change of a configuration attribute as the notification library delivers
 *  it: a wire record of little-endian fields at fixed offsets. */
struct _CfgNotAttrChange; // NOLINT(bugprone-reserved-identifier)

/** Takes a change of the attribute hideerrs (0 hides errors, any other value
 *  shows them). For LQOVS_receive_signal; runs on the thread on which the
 *  platform delivers notifications.
 *
 *  @param[in] source not used
 *  @param[in] name not used
 *  @param[in] data the change, a _CfgNotAttrChange
 *  @param[in] length not used
 *  @param[in] context the FaultAndHealth object that subscribed */
HEALTHINTF_API void cfg_notif_handle_hide_err(const char* source,
                                              const char* name,
                                              const uint8_t* data,
                                              uint64_t length, void* context);

/** Takes a change of the attribute oemLCDFlags (bit 0 set always hides
 *  errors). Arguments and thread as cfg_notif_handle_hide_err(). */
HEALTHINTF_API void cfg_notif_handle_oem_flags(const char* source,
                                               const char* name,
                                               const uint8_t* data,
                                               uint64_t length, void* context);

/** Whether a change was made by this library.
 *
 *  @param[in] record the change; the string that its source-name offset leads
 *             to must lie within it */
HEALTHINTF_API bool
cfg_notif_check_self_source(const _CfgNotAttrChange* record);

} // namespace health_namespace
