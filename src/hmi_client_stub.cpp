// SPDX-License-Identifier: Apache-2.0
#include "log_line.hpp"

#include <com/vexa/olvar/logmgr/names.hpp>
#include <hmi_client_stub.hpp>
#include <platform/signal_blocker.hpp>

#include <sdbusplus/exception.hpp>
#include <sdbusplus/message.hpp>

#include <exception>
#include <memory>

namespace SelClientStub
{

using namespace health_namespace;
using namespace health_namespace::details;
namespace names = healthintf::names;

SELClient* SELClient::Init(sdbusplus::bus_t& bus)
{
    static_assert(logModule == health_namespace::details::logModule);

    std::unique_ptr<SELClient> client;
    try
    {
        client = std::make_unique<SELClient>(bus);
        HMI_LOG(log::progress, "%s.%d.%s: Class SELClient Created:");
    }
    catch (const std::exception& e)
    {
        HMI_LOG(log::error, "%s.%d.%s: %s", e.what());
        return nullptr;
    }
    return client.release();
}

// The parameters are passed by value, because the ABI has this signature.
// NOLINTBEGIN(performance-unnecessary-value-param)
int SELClient::addSEL(Sensor sensor, std::vector<uint8_t> record,
                      uint32_t& recordId)
// NOLINTEND(performance-unnecessary-value-param)
{
    try
    {
        auto call =
            bus.new_method_call(names::logmgrService, names::selPath,
                                names::selInterface, names::addSelMethod);
        call.append(sensor, record);
        const healthintf::SignalBlocker blocker;
        auto reply = bus.call(call);
        reply.read(recordId);
    }
    catch (const sdbusplus::exception::SdBusError& e)
    {
        HMI_LOG(log::error, "%s.%d.%s: %s\n", e.what());
        return statusBusFailure;
    }
    // Log readers search for this text, misspelling included.
    HMI_LOG(log::progress, "%s.%d.%s: AddSEL(logmgr)  retruned RecordId = %d",
            recordId);
    return statusOk;
}

} // namespace SelClientStub
