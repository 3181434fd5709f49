// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file The platform's configuration manager: attributes with integer values.
 *
 *  It announces each change of an attribute as a notification named
 *  "CfgMgr/1/AttributeChange/" and the attribute's name. The notification's
 *  record holds little-endian fields at these byte offsets from its start. The
 *  platform checks before it delivers a record that the record is long enough
 *  for these fields and that a source name ends within it. */

#include <platform/api.h>

#include <stdint.h>

/** Unsigned 32-bit: offset, from the start of the record, of the NUL-terminated
 *  name of who made the change; 0 when it is not known. */
#define CFGMGR_CHANGE_SOURCE_OFFSET 36
/** Unsigned 32-bit: the attribute's new value. */
#define CFGMGR_CHANGE_NEW_VALUE_OFFSET 48
/** Unsigned 32-bit: the attribute's previous value. */
#define CFGMGR_CHANGE_PREVIOUS_VALUE_OFFSET 52

#ifdef __cplusplus
extern "C"
{
#endif

    /** Who changes an attribute. Each may be null. */
    struct CfgMgrOrigin
    {
        /** The name that the announcement of the change carries. */
        const char* source;
        /** Two more strings for the configuration manager's own use. */
        const char* second;
        /** The other of the two. */
        const char* third;
    };

    /** Sets an integer attribute. May be called from any thread, also in the
     *  callback of a notification. Never blocks forever: the host platform
     *  returns an error number after 5 seconds.
     *
     *  @param[in] name the attribute's name, such as
     *  "system.embedded.1#lcd.1#hideerrs"; with the host platform 1 to 255
     *  letters, digits and ".#_-"
     *  @param[in] value its new value
     *  @param[in] flags 0
     *  @param[in] origin who sets it; valid during the call only
     *  @return 0, or the platform's error number */
    PLATFORM_API int CfgSetAttributeInt(const char* name, int32_t value,
                                        int flags,
                                        const struct CfgMgrOrigin* origin);

#ifdef __cplusplus
}
#endif
