// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file The platform's notification library: named notifications, such as
 *  the changes of a configuration attribute. */

#include <platform/api.h>

#include <stdint.h>

#ifdef __cplusplus
extern "C"
{
#endif

    /** Takes one notification.
     *
     *  @param[in] source who caused it, such as the source of an attribute's
     *  change
     *  @param[in] name the notification's name
     *  @param[in] data the notification's record, which is the library's and
     *  valid during the call only; may be null
     *  @param[in] length size of the record in bytes
     *  @param[in] context the context that was given at subscription */
    typedef void (*LQOVS_callback)(const char* source, const char* name,
                                   const uint8_t* data, uint64_t length,
                                   void* context);

    /** Subscribes to a notification.
     *
     *  The platform's documentation says on which thread it calls back; the
     *  subscriber's callback must be safe on that thread. May be called from
     *  any thread, also in a callback.
     *
     *  @param[in] name the notification's name
     *  @param[in] callback called for each notification
     *  @param[in] context handed to each call; must outlive the subscription
     *  @return a handle for LQOVS_receive_signal_free, or null on failure */
    PLATFORM_API void* LQOVS_receive_signal(const char* name,
                                            LQOVS_callback callback,
                                            void* context);

    /** Ends a subscription; the callback is not called afterwards. May be
     *  called only on the thread that subscribed, also in a callback.
     *
     *  @param[in] handle from LQOVS_receive_signal; null is allowed */
    PLATFORM_API void LQOVS_receive_signal_free(void* handle);

#ifdef __cplusplus
}
#endif
