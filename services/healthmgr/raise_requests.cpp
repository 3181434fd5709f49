// SPDX-License-Identifier: Apache-2.0
#include "raise_requests.hpp"

#include "healthmgr/protocol.hpp"
#include "healthmgr/raised_fault_protocol.hpp"

#include <sdbusplus/vtable.hpp>

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>

namespace healthintf::healthmgr
{

namespace vtable = sdbusplus::vtable;

namespace
{

/** @return the component's key and the fault */
std::pair<std::string, RaisedFault> readFault(sdbusplus::message_t& call)
{
    std::string key;
    RaisedFault fault;
    uint32_t seconds = 0;
    call.read(key, fault.message, fault.arguments, fault.sensorPath,
              fault.sensorNumber, seconds, fault.trial);
    if (fault.sensorPath.empty())
    {
        fault.sensorPath = host::raisedFaultSensor;
    }
    if (seconds > 0)
    {
        fault.end = RaisedFaults::now() + std::chrono::seconds(seconds);
    }
    return {std::move(key), std::move(fault)};
}

} // namespace

template <auto Member>
int RaiseRequests::handle(sd_bus_message* message, void* context,
                          sd_bus_error* error)
{
    return perform(message, error, [context](sdbusplus::message_t& call) {
        (static_cast<RaiseRequests*>(context)->*Member)(call);
    });
}

const sd_bus_vtable* RaiseRequests::table()
{
    // The policy of the bus decides who may call which method.
    constexpr auto everybody = vtable::common_::unprivileged;
    static constexpr std::array table{
        vtable::start(),
        vtable::method(host::raiseMethod, host::raiseArguments, "",
                       handle<&RaiseRequests::raise>, everybody),
        vtable::method(host::clearMethod, "ss", "u",
                       handle<&RaiseRequests::clear>, everybody),
        vtable::end(),
    };
    return table.data();
}

RaiseRequests::RaiseRequests(services::Connection& connection,
                             RaisedFaults& faults) :
    faults(faults),
    interface(connection.bus(), host::healthmgrPath,
              host::raisedFaultsInterface, table(), this)
{}

void RaiseRequests::raise(sdbusplus::message_t& call)
{
    const auto [key, fault] = readFault(call);
    faults.raise(key, fault);
    reply(call);
}

void RaiseRequests::clear(sdbusplus::message_t& call)
{
    std::string key;
    std::string message;
    call.read(key, message);
    const std::size_t ended = faults.clear(key, message);
    if (ended == 0)
    {
        throw RefusedCall(host::noRaisedFaultError,
                          "there is no such raised fault");
    }
    reply(call, static_cast<uint32_t>(ended));
}

} // namespace healthintf::healthmgr
