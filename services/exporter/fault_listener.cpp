// SPDX-License-Identifier: Apache-2.0
#include "fault_listener.hpp"

#include "../common/service_log.hpp"
#include "line_limit.hpp"

#include <com/vexa/olvar/healthmgr/FaultEntry/common.hpp>

#include <exception>
#include <utility>

namespace healthintf::exporter
{
namespace
{

/** Limits the lines about signals, which anybody may send. */
constinit host::LineLimit signalFailureLines;

using sdbusplus::common::com::vexa::olvar::healthmgr::FaultEntry;

constexpr const char* driver = "org.freedesktop.DBus";
constexpr const char* driverPath = "/org/freedesktop/DBus";

EvictionCount& countIn(void* context)
{
    return *static_cast<EvictionCount*>(context);
}

/** Calls a message's handler and logs what it throws: exceptions must not
 *  reach libsystemd, which is C.
 *
 *  @return 0, so that others see the message too */
template <typename Handler>
int callAndLogExceptions(Handler&& handler) noexcept
{
    try
    {
        handler();
    }
    catch (const std::exception& e)
    {
        if (signalFailureLines.admits())
        {
            SERVICE_LOG(services::log::warning, "EXCEPTION %s.%d.%s: %s",
                        e.what());
        }
    }
    return 0;
}

} // namespace

FaultListener::FaultListener(ReadEntries readEntries) :
    readEntries(std::move(readEntries))
{}

void FaultListener::listen(sd_bus* bus)
{
    evictions.startAnew();
    const bool all =
        sd_bus_match_signal_async(bus, nullptr, nullptr, nullptr,
                                  FaultEntry::interface, "FaultEntryAdded",
                                  takeAdded, nullptr, &evictions) >= 0 &&
        sd_bus_match_signal_async(bus, nullptr, nullptr, nullptr,
                                  FaultEntry::interface, "FaultEntryRemoved",
                                  takeRemoved, nullptr, &evictions) >= 0 &&
        sd_bus_add_match_async(bus, nullptr,
                               "type='signal',sender='org.freedesktop.DBus',"
                               "member='NameOwnerChanged',arg2=''",
                               takeOwner, nullptr, &evictions) >= 0 &&
        afterTheBus(bus, takeListening, this);
    if (!all)
    {
        SERVICE_LOG(services::log::warning,
                    "%s.%d.%s: unable to listen, no evictions are counted");
    }
}

bool FaultListener::afterTheBus(sd_bus* bus, Handler next, void* context)
{
    return sd_bus_call_method_async(bus, nullptr, driver, driverPath, driver,
                                    "GetId", next, context, "") >= 0;
}

int FaultListener::takeAdded(sd_bus_message* message, void* context,
                             sd_bus_error* /*error*/)
{
    return callAndLogExceptions([&] {
        countIn(context).added(sd_bus_message_get_sender(message),
                               sd_bus_message_get_path(message));
    });
}

int FaultListener::takeRemoved(sd_bus_message* message, void* context,
                               sd_bus_error* /*error*/)
{
    return callAndLogExceptions([&] {
        countIn(context).removed(sd_bus_message_get_path(message));
    });
}

int FaultListener::takeOwner(sd_bus_message* message, void* context,
                             sd_bus_error* /*error*/)
{
    return callAndLogExceptions([&] {
        const char* name = nullptr;
        if (sd_bus_message_read(message, "s", &name) > 0)
        {
            countIn(context).left(name);
        }
    });
}

int FaultListener::takeListening(sd_bus_message* message, void* context,
                                 sd_bus_error* /*error*/)
{
    return callAndLogExceptions([&] {
        auto* self = static_cast<FaultListener*>(context);
        for (const std::string& entry : self->readEntries())
        {
            self->evictions.know(entry);
        }
        // Signals from before the reading may still come. They change the
        // known entries, but are no evictions that can be counted.
        afterTheBus(sd_bus_message_get_bus(message), takeCaughtUp,
                    &self->evictions);
    });
}

int FaultListener::takeCaughtUp(sd_bus_message* /*message*/, void* context,
                                sd_bus_error* /*error*/)
{
    countIn(context).startCounting();
    return 0;
}

} // namespace healthintf::exporter
