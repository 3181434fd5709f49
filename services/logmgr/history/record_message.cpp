// SPDX-License-Identifier: Apache-2.0
#include "record_message.hpp"

#include "bus_calls.hpp"
#include "logmgr/history_protocol.hpp"
#include "member_writer.hpp"

#include <algorithm>
#include <cstring>
#include <stdexcept>
#include <string>
#include <string_view>

namespace healthintf::history
{

using host::checkBus;
using host::MemberWriter;
namespace member = host::history;
namespace filter = host::history_filter;

namespace
{

void addText(MemberWriter& members, const char* name, const std::string& text)
{
    if (!text.empty())
    {
        members.add(name, text);
    }
}

void addNumber(MemberWriter& members, const char* name, uint32_t number)
{
    if (number != 0)
    {
        members.add(name, "u", number);
    }
}

void appendFault(MemberWriter& members, const Fault& fault)
{
    addText(members, member::component, fault.component);
    addText(members, member::entry, fault.entry);
    addText(members, member::messageId, fault.messageId);
    if (!fault.args.empty())
    {
        members.addTexts(member::args, fault.args);
    }
    addText(members, member::message, fault.message);
    addNumber(members, member::severity, fault.severity);
    addText(members, member::sensorPath, fault.sensorPath);
    addNumber(members, member::sensorNumber, fault.sensorNumber);
    addNumber(members, member::sensorType, fault.sensorType);
    addText(members, member::process, fault.process);
    addNumber(members, member::processId, fault.pid);
    if (fault.user != noUser)
    {
        members.add(member::user, "u", fault.user);
    }
}

/** Reads the members of a filter. */
class FilterReader
{
  public:
    FilterReader(sd_bus_message* message, HistoryQuery& query) :
        message(message), query(query)
    {}

    void read()
    {
        enter('a', "{sv}");
        while (sd_bus_message_enter_container(message, 'e', "sv") > 0)
        {
            const char* name = nullptr;
            checkBus("sd_bus_message_read",
                     sd_bus_message_read(message, "s", &name));
            readMember(name);
            leave();
        }
        leave();
    }

  private:
    void readMember(const std::string& name)
    {
        if (name == filter::component)
        {
            query.component = readText(name);
        }
        else if (name == filter::messageId)
        {
            query.messageId = readText(name);
        }
        else if (name == filter::since)
        {
            query.since = readTime(name);
        }
        else if (name == filter::until)
        {
            query.until = readTime(name);
        }
        else if (name == filter::kinds)
        {
            readKinds(name);
        }
        else if (name == filter::severities)
        {
            readSeverities(name);
        }
        else
        {
            throw std::invalid_argument("no such filter: " + name);
        }
    }

    std::string readText(const std::string& name)
    {
        const char* text = "";
        readVariant(name, "s", &text);
        return text;
    }

    int64_t readTime(const std::string& name)
    {
        int64_t time = 0;
        readVariant(name, "x", &time);
        return time;
    }

    void readVariant(const std::string& name, const char* type, auto* value)
    {
        expect(name, type);
        checkBus("sd_bus_message_read",
                 sd_bus_message_read(message, "v", type, value));
    }

    void readKinds(const std::string& name)
    {
        readArray(name, "s", [this] {
            const char* text = nullptr;
            const int result = sd_bus_message_read(message, "s", &text);
            if (result <= 0)
            {
                return result;
            }
            const auto kind = parseKind(text);
            if (!kind)
            {
                throw std::invalid_argument("no such kind: " +
                                            std::string(text));
            }
            query.kinds.insert(*kind);
            return result;
        });
    }

    void readSeverities(const std::string& name)
    {
        readArray(name, "u", [this] {
            uint32_t value = 0;
            const int result = sd_bus_message_read(message, "u", &value);
            constexpr uint32_t worst = 4;
            if (result > 0)
            {
                query.severities.insert(std::min(value, worst + 1));
            }
            return result;
        });
    }

    void readArray(const std::string& name, const char* type, auto&& readNext)
    {
        const std::string array = std::string("a") + type;
        expect(name, array.c_str());
        enter('v', array.c_str());
        enter('a', type);
        int result = 0;
        while ((result = readNext()) > 0)
        {}
        checkBus("sd_bus_message_read", result);
        leave();
        leave();
    }

    /** @throws std::invalid_argument when the variant has another type */
    void expect(const std::string& name, const char* type)
    {
        const char* content = nullptr;
        checkBus("sd_bus_message_peek_type",
                 sd_bus_message_peek_type(message, nullptr, &content));
        if (content == nullptr || std::strcmp(content, type) != 0)
        {
            throw std::invalid_argument("the filter " + name +
                                        " must be of type " + type);
        }
    }

    void enter(char type, const char* content)
    {
        checkBus("sd_bus_message_enter_container",
                 sd_bus_message_enter_container(message, type, content));
    }

    void leave()
    {
        checkBus("sd_bus_message_exit_container",
                 sd_bus_message_exit_container(message));
    }

    sd_bus_message* message;
    HistoryQuery& query;
};

} // namespace

void appendRecord(sd_bus_message* message, const Record& record)
{
    MemberWriter members(message);
    members.add(member::sequence, "t", record.sequence);
    members.add(member::time, "x", record.time);
    members.add(member::kind, "s", kindName(record.kind));
    appendFault(members, record.fault);
    if (record.lasted)
    {
        members.add(member::lasted, "x", *record.lasted);
    }
    if (record.occurrence != 0)
    {
        members.add(member::occurrence, "t", record.occurrence);
    }
    if (record.missed)
    {
        members.add(member::missed, "b", 1);
    }
    addText(members, member::comment, record.comment);
    members.finish();
}

HistoryQuery readQuery(sd_bus_message* message)
{
    HistoryQuery query;
    int backwards = 0;
    uint32_t limit = 0;
    checkBus(
        "sd_bus_message_read",
        sd_bus_message_read(message, "tbu", &query.from, &backwards, &limit));
    query.backwards = backwards != 0;
    query.limit = std::min(limit, host::mostHistoryRecords);
    FilterReader(message, query).read();
    return query;
}

} // namespace healthintf::history
