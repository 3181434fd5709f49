// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Handles changes of the front-panel LCD's configuration attributes. */

#include <com/vexa/olvar/api.hpp>

#include <cstdint>

namespace health_namespace
{

/** A change of a configuration attribute as the notification library delivers
 *  it: a wire record of little-endian fields at fixed offsets. */
struct _CfgNotAttrChange; // NOLINT(bugprone-reserved-identifier)

/** Handles a change of the attribute hideerrs: 0 hides all faults of the
 *  component, any other value shows them again. A change that this library made
 *  is ignored. A callback for LQOVS_receive_signal; runs on the thread on which
 *  the platform delivers notifications.
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

/** Handles a change of the attribute oemLCDFlags, of which only bit 0 is used:
 *  when it is set all faults of the component are hidden; when it is cleared
 *  they are shown again, and the attribute hideerrs is set to show errors.
 *  Arguments and thread as cfg_notif_handle_hide_err(). */
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

/** Sets an integer attribute of the configuration.
 *
 *  @param[in] name the attribute's whole name
 *  @param[in] value its new value
 *  @param[in] source who sets it, or null
 *  @param[in] a, b for the configuration manager's own use, or null
 *  @return 0, or the configuration manager's error number, which is logged */
HEALTHINTF_API int setLCDAttributeInt(const char* name, int32_t value,
                                      const char* source, const char* a,
                                      const char* b);

} // namespace health_namespace
