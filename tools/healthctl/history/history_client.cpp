// SPDX-License-Identifier: Apache-2.0
#include "history_client.hpp"

#include <com/vexa/olvar/logmgr/names.hpp>

#include <logmgr/history_protocol.hpp>
#include <systemd/sd-bus.h>

#include <algorithm>
#include <limits>
#include <utility>

#include <bus_calls.hpp>

namespace healthintf::healthctl
{
namespace
{

using host::checkBus;
namespace filter_member = host::history_filter;

constexpr Service historyOfLogmgr{.busName = host::historyService,
                                  .name = "logmgr",
                                  .role = "the log manager"};

constexpr ServiceMethod readMethod{.path = host::historyPath,
                                   .interface = host::historyInterface,
                                   .member = host::historyRead,
                                   .changes = false,
                                   .callers = "root"};

constexpr ServiceMethod propertyMethod{.path = host::historyPath,
                                       .interface =
                                           "org.freedesktop.DBus.Properties",
                                       .member = "Get",
                                       .changes = false,
                                       .callers = "root"};

constexpr ServiceMethod clearHistoryMethod{
    .path = host::historyPath,
    .interface = host::historyInterface,
    .member = host::historyClear,
    .changes = true,
    .callers = "root or as a member of the group healthintf-operators"};

/** Appends the members of a filter that say something. */
class FilterMembers
{
  public:
    explicit FilterMembers(sd_bus_message* message) : message(message)
    {}

    void add(const char* name, const char* type, auto value)
    {
        checkBus("sd_bus_message_append",
                 sd_bus_message_append(message, "{sv}", name, type, value));
    }

    /** @param[in] type of each value
     *  @param[in] append appends one value */
    void addSet(const char* name, const std::string& type, const auto& values,
                auto&& append)
    {
        if (values.empty())
        {
            return;
        }
        open('e', "sv");
        checkBus("sd_bus_message_append",
                 sd_bus_message_append(message, "s", name));
        open('v', ("a" + type).c_str());
        open('a', type.c_str());
        for (const auto& value : values)
        {
            checkBus("sd_bus_message_append", append(value));
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

/** Milliseconds since the epoch. */
int64_t toMilliseconds(int64_t seconds)
{
    constexpr int64_t most =
        std::numeric_limits<int64_t>::max() / millisecondsOfSecond - 1;
    return std::clamp(seconds, -most, most) * millisecondsOfSecond;
}

void appendFilter(sd_bus_message* message, const HistoryFilter& filter)
{
    FilterMembers members(message);
    members.open('a', "{sv}");
    if (!filter.component.empty())
    {
        members.add(filter_member::component, "s", filter.component.c_str());
    }
    members.addSet(filter_member::kinds, "s", filter.kinds,
                   [message](const std::string& kind) {
                       return sd_bus_message_append(message, "s", kind.c_str());
                   });
    members.addSet(filter_member::severities, "u", filter.severities,
                   [message](uint32_t severity) {
                       return sd_bus_message_append(message, "u", severity);
                   });
    if (filter.period.since)
    {
        members.add(filter_member::since, "x",
                    toMilliseconds(*filter.period.since));
    }
    if (filter.period.until)
    {
        // All of that second belongs to the period.
        const int64_t end =
            toMilliseconds(*filter.period.until) + millisecondsOfSecond;
        members.add(filter_member::until, "x", end);
    }
    members.close();
}

HistoryPage parsePage(sd_bus_message* message)
{
    HistoryPage page;
    checkBus("records", sd_bus_message_enter_container(message, 'a', "a{sv}"));
    while (sd_bus_message_at_end(message, 0) == 0)
    {
        page.records.push_back(readHistoryRecord(message));
    }
    checkBus("records", sd_bus_message_exit_container(message));
    checkBus("next record", sd_bus_message_read(message, "t", &page.next));
    return page;
}

/** Whether logmgr has the bus name of the log. */
bool keepsLog()
{
    const BusPtr bus = host::openDefaultBus();
    return sd_bus_get_name_creds(bus.get(), names::logmgrService, 0, nullptr) >=
           0;
}

/** Calls and waits for the reply.
 *
 *  @throws Error; when logmgr runs without a history it says so */
MessagePtr replyOfHistory(const ServiceClient& client,
                          const ServiceMethod& method, const MessagePtr& call)
{
    try
    {
        return client.reply(method, call);
    }
    catch (const Error& e)
    {
        if (e.code() == ExitCode::unavailable && keepsLog())
        {
            throw Error(ExitCode::unavailable,
                        "logmgr offers no history; see \"history\" in its "
                        "configuration, and its log");
        }
        throw;
    }
}

} // namespace

HistoryClient::HistoryClient() : client(historyOfLogmgr)
{}

HistoryPage HistoryClient::read(uint64_t from, bool backwards,
                                const HistoryFilter& filter) const
{
    const MessagePtr call = client.newCall(readMethod);
    checkBus("sd_bus_message_append",
             sd_bus_message_append(call.get(), "tbu", from,
                                   static_cast<int>(backwards),
                                   host::mostHistoryRecords));
    appendFilter(call.get(), filter);
    const MessagePtr answer = replyOfHistory(client, readMethod, call);
    return client.parse([&] {
        return parsePage(answer.get());
    });
}

uint64_t HistoryClient::countRecords() const
{
    const MessagePtr call = client.newCall(propertyMethod);
    checkBus("sd_bus_message_append",
             sd_bus_message_append(call.get(), "ss", host::historyInterface,
                                   host::historyRecords));
    const MessagePtr answer = replyOfHistory(client, propertyMethod, call);
    return client.parse([&] {
        uint64_t count = 0;
        checkBus("number", sd_bus_message_read(answer.get(), "v", "t", &count));
        return count;
    });
}

void HistoryClient::clear() const
{
    replyOfHistory(client, clearHistoryMethod,
                   client.newCall(clearHistoryMethod));
}

HistoryReader makeReader(const HistoryClient& client, HistoryFilter filter)
{
    return {
        [&client](uint64_t from, bool backwards, const HistoryFilter& chosen) {
            return client.read(from, backwards, chosen);
        },
        std::move(filter)};
}

} // namespace healthintf::healthctl
