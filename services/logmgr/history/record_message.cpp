// SPDX-License-Identifier: Apache-2.0
#include "record_message.hpp"

#include "bus_calls.hpp"
#include "logmgr/history_protocol.hpp"

#include <algorithm>
#include <cstring>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace healthintf::history
{

using host::checkBus;
namespace member = host::history;
namespace filter = host::history_filter;

namespace
{

/** Appends one member of a record with the D-Bus type of its value. */
class MemberWriter
{
  public:
    explicit MemberWriter(sd_bus_message* message) : message(message)
    {}

    void add(const char* name, const char* type, auto value)
    {
        checkBus("sd_bus_message_append",
                 sd_bus_message_append(message, "{sv}", name, type, value));
    }

    void add(const char* name, const std::string& text)
    {
        if (!text.empty())
        {
            add(name, "s", text.c_str());
        }
    }

    void addNumber(const char* name, uint32_t number)
    {
        if (number != 0)
        {
            add(name, "u", number);
        }
    }

    void add(const char* name, const std::vector<std::string>& texts)
    {
        if (texts.empty())
        {
            return;
        }
        open('e', "sv");
        checkBus("sd_bus_message_append",
                 sd_bus_message_append(message, "s", name));
        open('v', "as");
        open('a', "s");
        for (const std::string& text : texts)
        {
            checkBus("sd_bus_message_append",
                     sd_bus_message_append(message, "s", text.c_str()));
        }
        close();
        close();
        close();
    }

    void open(char type, const char* content)
    {
        checkBus("sd_bus_message_open_container",
                 sd_bus_message_open_container(message, type, content));
    }

    void close()
    {
        checkBus("sd_bus_message_close_container",
                 sd_bus_message_close_container(message));
    }

  private:
    sd_bus_message* message;
};

void appendFault(MemberWriter& members, const Fault& fault)
{
    members.add(member::component, fault.component);
    members.add(member::entry, fault.entry);
    members.add(member::messageId, fault.messageId);
    members.add(member::args, fault.args);
    members.add(member::message, fault.message);
    members.addNumber(member::severity, fault.severity);
    members.add(member::sensorPath, fault.sensorPath);
    members.addNumber(member::sensorNumber, fault.sensorNumber);
    members.addNumber(member::sensorType, fault.sensorType);
    members.add(member::process, fault.process);
    members.addNumber(member::processId, fault.pid);
    members.add(member::user, "u", fault.user);
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
    members.open('a', "{sv}");
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
    members.add(member::comment, record.comment);
    members.close();
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
