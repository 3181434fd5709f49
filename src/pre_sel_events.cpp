// SPDX-License-Identifier: Apache-2.0
/** @file SELAndFault's subscription to the host firmware's events. */

// Log readers know these lines by the file of the class.
#define HMI_LOG_FILE "lmi_sel_fault"
#include "bus_match.hpp"
#include "log_line.hpp"
#include "raw_bus.hpp"

#include <com/vexa/olvar/logmgr/names.hpp>
#include <lmi_sel_fault.hpp>
#include <platform/bus_handles.hpp>

#include <systemd/sd-bus.h>

#include <cstring>
#include <utility>

namespace logmgr_interface
{

using namespace health_namespace::details;
namespace names = healthintf::names;

namespace
{

/** The message that a connection is handling, or null. The reference keeps its
 *  address from being used by another message. */
std::shared_ptr<sd_bus_message> currentMessage(sdbusplus::bus_t& bus)
{
    sd_bus_message* message = sd_bus_get_current_message(rawBus(bus));
    return {sd_bus_message_ref(message), healthintf::Unref()};
}

} // namespace

int SELAndFault::RegisterForBIOSPreSELEvent(sdbusplus::bus_t& bus,
                                            PreSELCallback callback,
                                            uint32_t sensorNumber)
{
    std::string path = names::selPath;
    if (sensorNumber != 0)
    {
        path += "/" + std::to_string(sensorNumber);
    }
    const std::string rule = std::string("type='signal',") + "member='" +
                             names::selEvent + "'," + "path_namespace='" +
                             path + "',";
    auto shared = std::make_shared<const PreSELCallback>(std::move(callback));
    const uint32_t filterBefore = sensorFilter;
    if (sensorNumber != 0)
    {
        sensorFilter = sensorNumber;
    }
    try
    {
        subscribe(bus, rule);
    }
    catch (...)
    {
        sensorFilter = filterBefore;
        throw;
    }
    preSelCallback = std::move(shared);
    return 0;
}

void SELAndFault::subscribe(sdbusplus::bus_t& bus, const std::string& rule)
{
    // dbus-daemon ignores path_namespace when it removes a rule: of a
    // connection's rules that differ in it alone, it removes the newest one.
    // This rule without path_namespace is never removed in place of another
    // one, so the events keep coming; the rule of the match below selects among
    // them.
    auto delivery = makeMatchWithoutHandler(
        bus, (std::string("type='signal',member='") + names::selEvent + "'")
                 .c_str());
    // On a connection without a bus, libsystemd hands the current message to
    // new matches, too: a callback that registers again at every event would be
    // called forever.
    preSelMatch = makeMatch(
        bus, rule, HMI_HANDLER("BIOSSELEventCallbackHandler"),
        [this, current = currentMessage(bus)](sdbusplus::message_t& message) {
            if (message.get() != current.get())
            {
                BIOSSELEventCallbackHandler(message);
            }
        });
    preSelDelivery = std::move(delivery);
}

int SELAndFault::BIOSSELEventCallbackHandler(sdbusplus::message_t& message)
{
    // A copy, since the callback may register another one.
    const auto callback = preSelCallback;
    if (callback == nullptr || !*callback)
    {
        HMI_LOG(log::progress,
                "%s.%d.%s: SELEvent received for %s but no registration",
                name.c_str());
        return 0;
    }
    std::vector<uint8_t> bytes;
    message.read(bytes);
    HMI_LOG(log::progress, "%s.%d.%s: Read %zd size array of uint8_t",
            bytes.size());
    SELRecord record{};
    if (bytes.size() < sizeof(record))
    {
        HMI_LOG(log::warning, "%s.%d.%s: Record size not valid %zd",
                bytes.size());
        return 0;
    }
    std::memcpy(&record, bytes.data(), sizeof(record));
    if (sensorFilter == 0 || sensorFilter == record.sensorNumber)
    {
        (*callback)(record);
    }
    return 0;
}

} // namespace logmgr_interface
