// SPDX-License-Identifier: Apache-2.0
#include "sel_messages.hpp"

#include "bus_calls.hpp"
#include "logmgr/protocol.hpp"

#include <cstddef>
#include <vector>

namespace healthintf::logmgr
{

using host::checkBus;

namespace
{

MessagePtr replyTo(sd_bus_message* call)
{
    sd_bus_message* reply = nullptr;
    checkBus("sd_bus_message_new_method_return",
             sd_bus_message_new_method_return(call, &reply));
    return MessagePtr(reply);
}

void append(sd_bus_message* message, const SELEntryProperties& entry)
{
    checkBus("sd_bus_message_append",
             sd_bus_message_append(
                 message, "qu(ssyy)", entry.recordId, entry.timestamp,
                 entry.sensor.name.c_str(), entry.sensor.path.c_str(),
                 entry.sensor.firstByte, entry.sensor.secondByte));
    checkBus("sd_bus_message_append_array",
             sd_bus_message_append_array(message, 'y', entry.record.data(),
                                         entry.record.size()));
}

void append(sd_bus_message* reply, const std::vector<SELEntryProperties>& list)
{
    checkBus("sd_bus_message_open_container",
             sd_bus_message_open_container(reply, 'a', "(qu(ssyy)ay)"));
    for (const SELEntryProperties& entry : list)
    {
        checkBus("sd_bus_message_open_container",
                 sd_bus_message_open_container(reply, 'r', "qu(ssyy)ay"));
        append(reply, entry);
        checkBus("sd_bus_message_close_container",
                 sd_bus_message_close_container(reply));
    }
    checkBus("sd_bus_message_close_container",
             sd_bus_message_close_container(reply));
}

int send(const MessagePtr& reply, uint16_t next)
{
    checkBus("sd_bus_message_append",
             sd_bus_message_append(reply.get(), "q", next));
    return sd_bus_send(nullptr, reply.get(), nullptr);
}

} // namespace

Event readEvent(sd_bus_message* message, bool timed)
{
    SELInterface::SensorInfo sensor;
    const char* name = nullptr;
    const char* path = nullptr;
    const void* bytes = nullptr;
    std::size_t size = 0;
    uint32_t timestamp = 0;
    checkBus("sd_bus_message_read",
             sd_bus_message_read(message, "(ssyy)", &name, &path,
                                 &sensor.firstByte, &sensor.secondByte));
    checkBus("sd_bus_message_read_array",
             sd_bus_message_read_array(message, 'y', &bytes, &size));
    if (timed)
    {
        checkBus("sd_bus_message_read",
                 sd_bus_message_read(message, "u", &timestamp));
    }
    sensor.name = name;
    sensor.path = path;
    return makeEvent(std::move(sensor),
                     {static_cast<const uint8_t*>(bytes), size},
                     timed ? std::optional(timestamp) : std::nullopt);
}

const char* errorName(Refusal::Kind kind)
{
    switch (kind)
    {
        case Refusal::Kind::invalidRecord:
            return host::selInvalidRecord;
        case Refusal::Kind::full:
            return host::selFull;
        case Refusal::Kind::noSuchEntry:
            return host::selNoSuchEntry;
        case Refusal::Kind::oldGeneration:
            return host::selOldGeneration;
        case Refusal::Kind::grown:
            return host::selGrown;
        case Refusal::Kind::notStored:
            break;
    }
    return host::selNotStored;
}

int replyWithList(sd_bus_message* call, const Page& page)
{
    const MessagePtr reply = replyTo(call);
    append(reply.get(), page.entries);
    return send(reply, page.next);
}

int replyWithList(sd_bus_message* call, const EventLog& events,
                  const Page& page)
{
    const MessagePtr reply = replyTo(call);
    checkBus("sd_bus_message_append",
             sd_bus_message_append(reply.get(), "t", events.generation()));
    append(reply.get(), page.entries);
    checkBus("sd_bus_message_append",
             sd_bus_message_append(reply.get(), "tq", page.nextSequence,
                                   events.lastIdentifier()));
    return sd_bus_send(nullptr, reply.get(), nullptr);
}

int replyWithEntry(sd_bus_message* call, const Page& page)
{
    const MessagePtr reply = replyTo(call);
    append(reply.get(), page.entries.front());
    return send(reply, page.next);
}

} // namespace healthintf::logmgr
