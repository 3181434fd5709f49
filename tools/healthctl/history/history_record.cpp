// SPDX-License-Identifier: Apache-2.0
#include "history_record.hpp"

#include <logmgr/history_protocol.hpp>

#include <cerrno>
#include <map>

#include <bus_calls.hpp>

namespace healthintf::healthctl
{
namespace
{

using host::checkBus;
namespace recordMember = host::history;

/** Reads a member's value from the message into a record. */
using ReadMember = void (*)(sd_bus_message* message, HistoryRecord& record);

void readVariant(sd_bus_message* message, const char* type, auto* value)
{
    checkBus("member of a record",
             sd_bus_message_read(message, "v", type, value));
}

template <auto Member>
void readText(sd_bus_message* message, HistoryRecord& record)
{
    const char* text = "";
    readVariant(message, "s", &text);
    record.*Member = text;
}

template <auto Member>
void readSmall(sd_bus_message* message, HistoryRecord& record)
{
    uint32_t number = 0;
    readVariant(message, "u", &number);
    record.*Member = number;
}

template <auto Member>
void readLarge(sd_bus_message* message, HistoryRecord& record)
{
    readVariant(message, "t", &(record.*Member));
}

template <auto Member>
void readSigned(sd_bus_message* message, HistoryRecord& record)
{
    int64_t number = 0;
    readVariant(message, "x", &number);
    record.*Member = number;
}

void readMissed(sd_bus_message* message, HistoryRecord& record)
{
    int missed = 0;
    readVariant(message, "b", &missed);
    record.missed = missed != 0;
}

void readArgs(sd_bus_message* message, HistoryRecord& record)
{
    checkBus("arguments of a record",
             sd_bus_message_enter_container(message, 'v', "as"));
    checkBus("arguments of a record",
             sd_bus_message_enter_container(message, 'a', "s"));
    const char* text = "";
    while (sd_bus_message_read(message, "s", &text) > 0)
    {
        record.args.emplace_back(text);
    }
    checkBus("arguments of a record", sd_bus_message_exit_container(message));
    checkBus("arguments of a record", sd_bus_message_exit_container(message));
}

const std::map<std::string_view, ReadMember>& memberReaders()
{
    using R = HistoryRecord;
    static const std::map<std::string_view, ReadMember> readers{
        {recordMember::sequence, readLarge<&R::sequence>},
        {recordMember::time, readSigned<&R::time>},
        {recordMember::kind, readText<&R::kind>},
        {recordMember::component, readText<&R::component>},
        {recordMember::entry, readText<&R::entry>},
        {recordMember::messageId, readText<&R::messageId>},
        {recordMember::args, readArgs},
        {recordMember::message, readText<&R::message>},
        {recordMember::severity, readSmall<&R::severity>},
        {recordMember::sensorPath, readText<&R::sensorPath>},
        {recordMember::sensorNumber, readSmall<&R::sensorNumber>},
        {recordMember::sensorType, readSmall<&R::sensorType>},
        {recordMember::process, readText<&R::process>},
        {recordMember::processId, readSmall<&R::pid>},
        {recordMember::user, readSmall<&R::user>},
        {recordMember::lasted, readSigned<&R::lasted>},
        {recordMember::occurrence, readLarge<&R::occurrence>},
        {recordMember::missed, readMissed},
        {recordMember::comment, readText<&R::comment>},
    };
    return readers;
}

} // namespace

bool isAppearance(std::string_view kind)
{
    return kind == "appeared" || kind == "monitor-lost";
}

bool isEnd(std::string_view kind)
{
    return kind == "cleared" || kind == "gave-way" || kind == "withdrawn" ||
           kind == "monitor-back";
}

HistoryRecord readHistoryRecord(sd_bus_message* message)
{
    HistoryRecord record;
    const int entered = sd_bus_message_enter_container(message, 'a', "{sv}");
    checkBus("record", entered == 0 ? -ENXIO : entered);
    while (sd_bus_message_enter_container(message, 'e', "sv") > 0)
    {
        const char* name = "";
        checkBus("member of a record",
                 sd_bus_message_read(message, "s", &name));
        const auto reader = memberReaders().find(name);
        if (reader != memberReaders().end())
        {
            reader->second(message, record);
        }
        else
        {
            checkBus("member of a record", sd_bus_message_skip(message, "v"));
        }
        checkBus("member of a record", sd_bus_message_exit_container(message));
    }
    checkBus("record", sd_bus_message_exit_container(message));
    return record;
}

} // namespace healthintf::healthctl
