// SPDX-License-Identifier: Apache-2.0
#include "../host_log.hpp"
#include "../thread_bus.hpp"
#include "protocol.hpp"

#include <platform/data_abstraction/healthmgr.hpp>
#include <platform/signal_blocker.hpp>

#include <cerrno>
#include <cstring>
#include <string>
#include <system_error>

namespace
{

using namespace healthintf;
using namespace healthintf::host;

/** Sends a request on the kept connection.
 *
 *  @throws std::system_error when it could not be sent */
void send(const std::string& service, const std::string& path,
          const std::string& key)
{
    const SignalBlocker blocker;
    sd_bus* bus = threadBus();
    sd_bus_message* raw = nullptr;
    checkBus("sd_bus_message_new_method_call",
             sd_bus_message_new_method_call(bus, &raw, service.c_str(),
                                            path.c_str(), healthmgrInterface,
                                            addHealthObjectMethod));
    const MessagePtr message(raw);
    checkBus("sd_bus_message_append",
             sd_bus_message_append(raw, "s", key.c_str()));
    checkBus("sd_bus_message_set_expect_reply",
             sd_bus_message_set_expect_reply(raw, 0));
    checkBus("sd_bus_send", sd_bus_send(bus, raw, nullptr));
    // The connection may never be processed again, so the request must leave
    // now.
    checkBus("sd_bus_flush", sd_bus_flush(bus));
}

/** Whether an error means that the connection is lost. */
bool isLoss(int code)
{
    return code == ECONNRESET || code == ENOTCONN || code == EPIPE;
}

} // namespace

int DataAbstraction::Healthmgr::AddHealthObject(
    const std::string& service, const std::string& path,
    // NOLINTNEXTLINE(performance-unnecessary-value-param): as declared
    std::string key)
{
    try
    {
        try
        {
            send(service, path, key);
        }
        catch (const std::system_error& e)
        {
            if (!isLoss(e.code().value()))
            {
                throw;
            }
            send(service, path, key);
        }
        return 0;
    }
    catch (const std::system_error& e)
    {
        HOST_LOG(log::warning,
                 "%s.%d.%s: unable to ask %s for the health node %s: %s",
                 service.c_str(), key.c_str(), std::strerror(e.code().value()));
        return e.code().value();
    }
}
