// SPDX-License-Identifier: Apache-2.0
/** @file Notifications and attributes: nobody announces, nothing is kept. */

#include <platform/config_manager.h>
#include <platform/notification.h>

#include <cerrno>

extern "C"
{
    void* LQOVS_receive_signal(const char* /*name*/,
                               LQOVS_callback /*callback*/, void* /*context*/)
    {
        return nullptr;
    }

    void LQOVS_receive_signal_free(void* /*handle*/)
    {}

    int CfgSetAttributeInt(const char* /*name*/, int32_t /*value*/,
                           int /*flags*/, const struct CfgMgrOrigin* /*origin*/)
    {
        return ENOSYS;
    }

} // extern "C"
