// SPDX-License-Identifier: Apache-2.0
/** @file The event descriptions: there are none to attach to. */

#include <platform/event_description.h>

#include <cerrno>

extern "C"
{
    int IPMI_SELCSSDSELAttach(void)
    {
        return ENOENT;
    }

    int IPMI_SELCSSDSELDetach(void)
    {
        // Also called behind an attach that failed.
        return 0;
    }

    int TransformSELEventToJNLEntry(const uint8_t* /*record*/,
                                    void* /*jnlEntry*/)
    {
        return ENOTCONN;
    }

    int TransformSELEventToLCD(const uint8_t* /*record*/, void* /*lcdEntry*/)
    {
        return ENOTCONN;
    }

} // extern "C"
