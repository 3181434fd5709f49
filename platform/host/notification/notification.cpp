// SPDX-License-Identifier: Apache-2.0
#include "../failure_log.hpp"
#include "../host_log.hpp"
#include "../storage/store_failure.hpp"
#include "receiver.hpp"

#include <platform/notification.h>

#include <exception>

namespace
{

using namespace healthintf;
using namespace healthintf::host;

constinit FailureLog notificationFailures;

} // namespace

void* LQOVS_receive_signal(const char* name, LQOVS_callback callback,
                           void* context)
{
    if (name == nullptr || callback == nullptr)
    {
        return nullptr;
    }
    try
    {
        void* handle = Receiver::ofThisThread()->add(name, callback, context);
        notificationFailures.noteSuccess();
        return handle;
    }
    catch (const std::exception& e)
    {
        if (notificationFailures.admits(getErrorNumber(e)))
        {
            HOST_LOG(log::error,
                     "%s.%d.%s: unable to subscribe to notifications: %s",
                     e.what());
        }
        return nullptr;
    }
}

void LQOVS_receive_signal_free(void* handle)
{
    if (handle != nullptr)
    {
        Receiver::remove(static_cast<Subscription*>(handle));
    }
}
