#include "../bus_handles.hpp"
#include "../host_log.hpp"
#include "protocol.hpp"

#include <platform/data_abstraction/healthmgr.hpp>

#include <cerrno>
#include <cstring>
#include <string>

namespace
{

using namespace healthintf;
using namespace healthintf::host;

/** This thread's default connection, kept until the thread ends: the bus
 *  forgets a message for a service that it still has to start when the sender
 *  goes away. */
BusPtr& keptBus()
{
    static thread_local BusPtr kept;
    return kept;
}

/** Sends a request on the kept connection, which is opened when there is
 *  none.
 *
 *  @return 0 or a negative errno */
int send(const std::string& service, const std::string& path,
         const std::string& key)
{
    BusPtr& bus = keptBus();
    int result = 0;
    if (!bus)
    {
        sd_bus* opened = nullptr;
        result = sd_bus_default(&opened);
        bus.reset(opened);
    }
    sd_bus_message* raw = nullptr;
    if (result >= 0)
    {
        result = sd_bus_message_new_method_call(
            bus.get(), &raw, service.c_str(), path.c_str(),
            healthManagerInterface, addHealthObjectMethod);
    }
    const MessagePtr message(raw);
    if (result >= 0)
    {
        result = sd_bus_message_append(raw, "s", key.c_str());
    }
    if (result >= 0)
    {
        result = sd_bus_message_set_expect_reply(raw, 0);
    }
    if (result >= 0)
    {
        result = sd_bus_send(bus.get(), raw, nullptr);
    }
    // Nobody may ever process this connection again.
    return result >= 0 ? sd_bus_flush(bus.get()) : result;
}

/** Whether a failure means that the connection is gone. */
bool isLoss(int result)
{
    return result == -ECONNRESET || result == -ENOTCONN || result == -EPIPE;
}

} // namespace

int DataAbstraction::Healthmgr::AddHealthObject(
    const std::string& service, const std::string& path,
    // NOLINTNEXTLINE(performance-unnecessary-value-param): as declared
    std::string key)
{
    int result = send(service, path, key);
    if (isLoss(result))
    {
        keptBus().reset();
        result = send(service, path, key);
    }
    if (result < 0)
    {
        HOST_LOG(log::warning,
                 "%s.%d.%s: unable to ask %s for the health node %s: %s",
                 service.c_str(), key.c_str(), std::strerror(-result));
        return -result;
    }
    return 0;
}
