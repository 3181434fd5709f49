// SPDX-License-Identifier: Apache-2.0
#include "sel_object.hpp"

#include "../common/service_log.hpp"
#include "bus_calls.hpp"
#include "line_limit.hpp"
#include "logmgr/protocol.hpp"
#include "sel_messages.hpp"

#include <com/vexa/olvar/logmgr/names.hpp>

#include <sdbusplus/message.hpp>
#include <sdbusplus/vtable.hpp>

#include <array>
#include <concepts>
#include <cstddef>
#include <exception>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace healthintf::logmgr
{

namespace log = services::log;
namespace vtable = sdbusplus::vtable;
using host::checkBus;

namespace
{

// The properties whose changes are announced.
constexpr const char* entriesProperty = "Entries";
constexpr const char* overflowProperty = "Overflow";
constexpr const char* lastAdditionProperty = "LastAddition";
constexpr const char* lastEraseProperty = "LastErase";

/** Limits the lines about failed calls, which any client can cause. */
constinit host::LineLimit callFailureLines;

/** Appends a property's value with the D-Bus type of its C++ type. */
template <typename Value>
int append(sd_bus_message* reply, Value value)
{
    if constexpr (std::same_as<Value, bool>)
    {
        return sd_bus_message_append(reply, "b", static_cast<int>(value));
    }
    else if constexpr (std::same_as<Value, uint16_t>)
    {
        return sd_bus_message_append(reply, "q", value);
    }
    else if constexpr (std::same_as<Value, uint32_t>)
    {
        return sd_bus_message_append(reply, "u", value);
    }
    else if constexpr (std::same_as<Value, uint64_t>)
    {
        return sd_bus_message_append(reply, "t", value);
    }
    else
    {
        return sd_bus_message_append(reply, "s", value);
    }
}

/** Sends a signal. A failure is only logged: the change itself is done, and its
 *  caller gets the answer. */
template <typename Send>
void sendOrLog(const char* what, Send&& send)
{
    try
    {
        send();
    }
    catch (const std::exception& e)
    {
        if (callFailureLines.admits())
        {
            SERVICE_LOG(log::error, "%s.%d.%s: unable to announce %s: %s", what,
                        e.what());
        }
    }
}

} // namespace

template <auto Member>
int SelObject::handle(sd_bus_message* message, void* context,
                      sd_bus_error* error)
{
    try
    {
        return (static_cast<SelObject*>(context)->*Member)(message);
    }
    catch (const Refusal& e)
    {
        return sd_bus_error_set(error, errorName(e.kind()), e.what());
    }
    catch (const std::exception& e)
    {
        if (callFailureLines.admits())
        {
            SERVICE_LOG(log::warning, "EXCEPTION %s.%d.%s: %s", e.what());
        }
        return sd_bus_error_set(error, SD_BUS_ERROR_FAILED, e.what());
    }
}

template <auto Member>
int SelObject::get(sd_bus* /*bus*/, const char* /*path*/,
                   const char* /*interface*/, const char* /*name*/,
                   sd_bus_message* reply, void* context,
                   sd_bus_error* /*error*/)
{
    return append(reply, (static_cast<SelObject*>(context)->*Member)());
}

const sd_bus_vtable* SelObject::table()
{
    // The policy of the bus decides who may call which method.
    constexpr auto everybody = vtable::common_::unprivileged;
    constexpr auto changes = vtable::property_::emits_change;
    constexpr auto constant = vtable::property_::const_;
    static constexpr std::array table{
        vtable::start(),
        vtable::method(names::addSelMethod, "(ssyy)ay", "u",
                       handle<&SelObject::add>, everybody),
        vtable::method(host::addSelWithTimestamp, "(ssyy)ayu", "u",
                       handle<&SelObject::addWithTimestamp>, everybody),
        vtable::method("GetEntry", "q", "qu(ssyy)ayq",
                       handle<&SelObject::getEntry>, everybody),
        vtable::method("ListEntries", "qu", "a(qu(ssyy)ay)q",
                       handle<&SelObject::listEntries>, everybody),
        vtable::method(host::listLog, "ttu", "ta(qu(ssyy)ay)tq",
                       handle<&SelObject::listLog>, everybody),
        vtable::method("Clear", "", "u", handle<&SelObject::clear>, everybody),
        vtable::method(host::clearUpTo, "tq", "uq",
                       handle<&SelObject::clearUpTo>, everybody),
        vtable::signal(names::selEvent, "ay"),
        vtable::signal(names::selCleared, ""),
        vtable::property(entriesProperty, "u", get<&SelObject::entries>,
                         changes),
        vtable::property("Capacity", "u", get<&SelObject::capacity>, constant),
        vtable::property("OverflowPolicy", "s", get<&SelObject::overflowPolicy>,
                         constant),
        vtable::property(overflowProperty, "b", get<&SelObject::overflow>,
                         changes),
        vtable::property(lastAdditionProperty, "u",
                         get<&SelObject::lastAddition>, changes),
        vtable::property(lastEraseProperty, "u", get<&SelObject::lastErase>,
                         changes),
        vtable::property("Generation", "t", get<&SelObject::generation>),
        vtable::property("LastEntry", "q", get<&SelObject::lastEntry>),
        vtable::end(),
    };
    return table.data();
}

SelObject::SelObject(services::Connection& connection, EventLog& events,
                     Mirror& mirror, ListResponder& lists) :
    bus(connection.bus()),
    events(events), mirror(mirror), lists(lists),
    interface(bus, names::selPath, names::selInterface, table(), this),
    announced(readValues())
{}

void SelObject::announceChanges()
{
    announceChanges({});
}

int SelObject::add(sd_bus_message* message)
{
    return store(message, readEvent(message, false));
}

int SelObject::addWithTimestamp(sd_bus_message* message)
{
    return store(message, readEvent(message, true));
}

int SelObject::store(sd_bus_message* message, const Event& event)
{
    announce(event);
    try
    {
        const EventLog::Addition addition = events.add(event);
        mirror.addEntry(addition);
        announceChanges({entriesProperty, lastAdditionProperty});
        return sd_bus_reply_method_return(
            message, "u", static_cast<uint32_t>(addition.entry.recordId));
    }
    catch (const Refusal&)
    {
        announceChanges();
        throw;
    }
}

void SelObject::announce(const Event& event)
{
    sendOrLog("an event", [&] {
        std::string path = names::selPath;
        if (event.record[offsetof(SELInterface::SELRecord, recordType)] <
            firstOemType)
        {
            const int number =
                event.record[offsetof(SELInterface::SELRecord, sensorNumber)];
            path += "/" + std::to_string(number);
        }
        auto signal =
            bus.new_signal(path.c_str(), names::selInterface, names::selEvent);
        signal.append(
            std::vector<uint8_t>(event.record.begin(), event.record.end()));
        signal.signal_send();
    });
}

int SelObject::getEntry(sd_bus_message* message)
{
    uint16_t recordId = 0;
    sd_bus_message_read(message, "q", &recordId);
    return replyWithEntry(message, events.entry(recordId));
}

int SelObject::listEntries(sd_bus_message* message)
{
    ListCall call;
    uint16_t first = 0;
    checkBus("sd_bus_message_read",
             sd_bus_message_read(message, "qu", &first, &call.limit));
    call.first = first;
    call.message.reset(sd_bus_message_ref(message));
    lists.enqueue(std::move(call));
    return 1;
}

int SelObject::listLog(sd_bus_message* message)
{
    ListCall call;
    uint64_t generation = 0;
    checkBus("sd_bus_message_read",
             sd_bus_message_read(message, "ttu", &generation, &call.first,
                                 &call.limit));
    call.generation = generation;
    call.message.reset(sd_bus_message_ref(message));
    lists.enqueue(std::move(call));
    return 1;
}

int SelObject::clear(sd_bus_message* message)
{
    const uint32_t erased = events.clear();
    announceClearing();
    return sd_bus_reply_method_return(message, "u", erased);
}

int SelObject::clearUpTo(sd_bus_message* message)
{
    uint64_t generation = 0;
    uint16_t last = 0;
    checkBus("sd_bus_message_read",
             sd_bus_message_read(message, "tq", &generation, &last));
    events.restoreFile();
    const uint16_t found = events.lastIdentifier();
    const uint32_t erased = events.clearUpTo(generation, last);
    announceClearing();
    return sd_bus_reply_method_return(message, "uq", erased, found);
}

void SelObject::announceClearing()
{
    mirror.rebuild();
    sendOrLog("the clearing", [&] {
        interface.new_signal(names::selCleared).signal_send();
    });
    announceChanges({entriesProperty, overflowProperty, lastEraseProperty});
}

/** Announces the properties that a call has touched, and all others whose
 *  values are no longer those that were announced. */
void SelObject::announceChanges(const std::set<std::string_view>& touched)
{
    const Values known = std::exchange(announced, readValues());
    for (std::size_t i = 0; i < known.size(); ++i)
    {
        const auto& [property, value] = announced[i];
        if (touched.contains(property) || value != known[i].second)
        {
            interface.property_changed(property);
        }
    }
}

SelObject::Values SelObject::readValues() const
{
    return {{{entriesProperty, entries()},
             {lastAdditionProperty, lastAddition()},
             {overflowProperty, overflow()},
             {lastEraseProperty, lastErase()}}};
}

uint32_t SelObject::entries() const
{
    return events.entries();
}

uint32_t SelObject::capacity() const
{
    return events.config().capacity;
}

const char* SelObject::overflowPolicy() const
{
    return overflowName(events.config().overflow);
}

bool SelObject::overflow() const
{
    return events.state().overflow;
}

uint32_t SelObject::lastAddition() const
{
    return events.state().lastAddition;
}

uint32_t SelObject::lastErase() const
{
    return events.state().lastErase;
}

uint64_t SelObject::generation() const
{
    return events.generation();
}

uint16_t SelObject::lastEntry() const
{
    return events.lastIdentifier();
}

} // namespace healthintf::logmgr
