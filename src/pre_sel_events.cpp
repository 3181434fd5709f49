/** @file SELAndFault's subscription to the host firmware's events. */

// Log readers know these lines by the file of the class.
#define HMI_LOG_FILE "lmi_sel_fault"
#include "bus_match.hpp"
#include "log_line.hpp"

#include <com/vexa/olvar/logmgr/names.hpp>
#include <lmi_sel_fault.hpp>

#include <cstring>
#include <utility>

namespace logmgr_interface
{

using namespace health_namespace::details;
namespace names = healthintf::names;

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
    preSelMatch = makeMatch(bus, rule, "BIOSSELEventCallbackHandler",
                            [this](sdbusplus::message_t& message) {
                                return BIOSSELEventCallbackHandler(message);
                            });
    preSelCallback = std::move(shared);
    if (sensorNumber != 0)
    {
        sensorFilter = sensorNumber;
    }
    return 0;
}

int SELAndFault::BIOSSELEventCallbackHandler(sdbusplus::message_t& message)
{
    // Held here, since the callback may register another one.
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
