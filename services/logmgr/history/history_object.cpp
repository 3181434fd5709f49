// SPDX-License-Identifier: Apache-2.0
#include "history_object.hpp"

#include "../../common/service_log.hpp"
#include "bus_calls.hpp"
#include "line_limit.hpp"
#include "logmgr/history_protocol.hpp"
#include "record_message.hpp"

#include <sdbusplus/vtable.hpp>

#include <array>
#include <cerrno>
#include <cstring>
#include <exception>
#include <stdexcept>
#include <utility>

namespace healthintf::history
{

namespace log = services::log;
namespace vtable = sdbusplus::vtable;
using host::checkBus;

namespace
{

/** Limits the lines about failed calls, which any client can cause. */
constinit host::LineLimit callFailureLines;

void logFailure(const char* why)
{
    if (callFailureLines.admits())
    {
        SERVICE_LOG(log::warning, "EXCEPTION %s.%d.%s: %s", why);
    }
}

/** Takes the bus's reply to the request of the history's name. */
int takeName(sd_bus_message* reply, void* /*context*/, sd_bus_error* /*error*/)
{
    uint32_t result = 0;
    const bool owned =
        sd_bus_message_read(reply, "u", &result) > 0 && result == 1;
    if (!owned)
    {
        SERVICE_LOG(log::error,
                    "%s.%d.%s: the bus does not give the name %s: nobody can "
                    "read the history",
                    host::historyService);
    }
    return 0;
}

MessagePtr makeSignal(sd_bus* bus, const Record& record)
{
    sd_bus_message* raw = nullptr;
    checkBus("sd_bus_message_new_signal",
             sd_bus_message_new_signal(bus, &raw, host::historyPath,
                                       host::historyInterface,
                                       host::historyRecorded));
    MessagePtr signal(raw);
    appendRecord(raw, record);
    return signal;
}

} // namespace

HistoryObject::HistoryObject(Source source) : source(std::move(source))
{}

template <auto Member>
int HistoryObject::handle(sd_bus_message* message, void* context,
                          sd_bus_error* error) noexcept
{
    try
    {
        return (static_cast<HistoryObject*>(context)->*Member)(message);
    }
    catch (const std::invalid_argument& e)
    {
        return sd_bus_error_set(error, SD_BUS_ERROR_INVALID_ARGS, e.what());
    }
    catch (const std::exception& e)
    {
        logFailure(e.what());
        return sd_bus_error_set(error, SD_BUS_ERROR_FAILED, e.what());
    }
}

template <uint64_t HistoryStatus::*Member>
int HistoryObject::get(sd_bus* /*bus*/, const char* /*path*/,
                       const char* /*interface*/, const char* /*name*/,
                       sd_bus_message* reply, void* context,
                       sd_bus_error* error) noexcept
{
    try
    {
        const auto* object = static_cast<HistoryObject*>(context);
        return sd_bus_message_append(reply, "t",
                                     object->source.status().*Member);
    }
    catch (const std::exception& e)
    {
        logFailure(e.what());
        return sd_bus_error_set(error, SD_BUS_ERROR_FAILED, e.what());
    }
}

const sd_bus_vtable* HistoryObject::table()
{
    // The policy of the bus decides who may call which method.
    constexpr auto everybody = vtable::common_::unprivileged;
    static constexpr std::array table{
        vtable::start(),
        vtable::method(host::historyRead, "tbua{sv}", "aa{sv}t",
                       handle<&HistoryObject::read>, everybody),
        vtable::method(host::historyClear, "", "",
                       handle<&HistoryObject::clear>, everybody),
        vtable::signal(host::historyRecorded, "a{sv}"),
        vtable::property(host::historyFirst, "t", get<&HistoryStatus::first>),
        vtable::property(host::historyLast, "t", get<&HistoryStatus::last>),
        vtable::property(host::historyRecords, "t",
                         get<&HistoryStatus::records>),
        vtable::property(host::historyBytes, "t", get<&HistoryStatus::bytes>),
        vtable::end(),
    };
    return table.data();
}

void HistoryObject::offer(sd_bus* bus)
{
    checkBus("sd_bus_add_object_vtable",
             sd_bus_add_object_vtable(bus, nullptr, host::historyPath,
                                      host::historyInterface, table(), this));
    constexpr uint64_t doNotQueue = 0;
    checkBus("sd_bus_request_name_async",
             sd_bus_request_name_async(bus, nullptr, host::historyService,
                                       doNotQueue, takeName, nullptr));
}

void HistoryObject::announce(sd_bus* bus, const std::vector<Record>& records)
{
    for (const Record& record : records)
    {
        const MessagePtr signal = makeSignal(bus, record);
        checkBus("sd_bus_send", sd_bus_send(bus, signal.get(), nullptr));
    }
}

int HistoryObject::read(sd_bus_message* message) const
{
    const HistoryPage page = source.read(readQuery(message));
    sd_bus_message* raw = nullptr;
    checkBus("sd_bus_message_new_method_return",
             sd_bus_message_new_method_return(message, &raw));
    const MessagePtr reply(raw);
    checkBus("sd_bus_message_open_container",
             sd_bus_message_open_container(raw, 'a', "a{sv}"));
    for (const Record& record : page.records)
    {
        appendRecord(raw, record);
    }
    checkBus("sd_bus_message_close_container",
             sd_bus_message_close_container(raw));
    checkBus("sd_bus_message_append",
             sd_bus_message_append(raw, "t", page.next));
    return sd_bus_send(nullptr, raw, nullptr);
}

int HistoryObject::clear(sd_bus_message* message) const
{
    source.clear();
    return sd_bus_reply_method_return(message, "");
}

} // namespace healthintf::history
