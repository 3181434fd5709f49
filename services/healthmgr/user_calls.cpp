// SPDX-License-Identifier: Apache-2.0
#include "user_calls.hpp"

#include "../common/service_log.hpp"
#include "line_limit.hpp"

#include <sdbusplus/exception.hpp>

#include <memory>
#include <optional>

namespace healthintf::healthmgr
{

namespace log = services::log;

namespace
{

/** Does the work.
 *
 *  @return false when it has thrown, and @p error says what */
bool tryWork(sd_bus_message* message, sd_bus_error* error, const Work& work)
{
    // Any client may make calls that fail.
    static constinit host::LineLimit lines;
    try
    {
        sdbusplus::message_t call(message);
        work(call);
        return true;
    }
    catch (const RefusedCall& e)
    {
        sd_bus_error_set(error, e.name(), e.what());
    }
    catch (const sdbusplus::exception_t& e)
    {
        sd_bus_error_set(error, SD_BUS_ERROR_INVALID_ARGS, e.what());
    }
    catch (const std::exception& e)
    {
        if (lines.admits())
        {
            SERVICE_LOG(log::warning, "EXCEPTION %s.%d.%s: %s", e.what());
        }
        sd_bus_error_set(error, SD_BUS_ERROR_FAILED, e.what());
    }
    return false;
}

/** Does the work and sends the error if it throws. */
void performLater(sd_bus_message* call, const Work& work)
{
    sd_bus_error error = SD_BUS_ERROR_NULL;
    if (!tryWork(call, &error, work))
    {
        sd_bus_reply_method_error(call, &error);
        sd_bus_error_free(&error);
    }
}

} // namespace

int perform(sd_bus_message* call, sd_bus_error* error, const Work& work)
{
    return tryWork(call, error, work) ? 1 : sd_bus_error_get_errno(error) * -1;
}

int performForUser(
    sd_bus_message* call, sd_bus_error* error, PeerUsers& users,
    std::function<void(sdbusplus::message_t& call, uint32_t user)> work)
{
    const std::shared_ptr<sd_bus_message> kept(sd_bus_message_ref(call),
                                               sd_bus_message_unref);
    const bool waits = users.find(
        sd_bus_message_get_sender(call),
        [kept, work = std::move(work)](std::optional<uint32_t> user) {
            performLater(kept.get(), [&](sdbusplus::message_t& message) {
                if (!user)
                {
                    throw std::runtime_error(
                        "the bus does not tell whose this connection is");
                }
                work(message, *user);
            });
        });
    return waits ? 1
                 : sd_bus_error_set(error, SD_BUS_ERROR_LIMITS_EXCEEDED,
                                    "too many requests at once");
}

void announce(sdbusplus::server::interface_t& interface, const char* member,
              const Members& described)
{
    try
    {
        auto signal = interface.new_signal(member);
        signal.append(described);
        signal.signal_send();
    }
    catch (const std::exception& e)
    {
        SERVICE_LOG(log::error, "%s.%d.%s: unable to send %s: %s", member,
                    e.what());
    }
}

} // namespace healthintf::healthmgr
