// SPDX-License-Identifier: Apache-2.0
#include "history_client.hpp"

#include <com/vexa/olvar/logmgr/names.hpp>

#include <logmgr/history_protocol.hpp>
#include <systemd/sd-bus.h>

#include <algorithm>
#include <limits>
#include <utility>

#include <bus_calls.hpp>
#include <member_writer.hpp>

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

/** Milliseconds since the epoch. */
int64_t toMilliseconds(int64_t seconds)
{
    constexpr int64_t most =
        std::numeric_limits<int64_t>::max() / millisecondsOfSecond - 1;
    return std::clamp(seconds, -most, most) * millisecondsOfSecond;
}

void appendFilter(sd_bus_message* message, const HistoryFilter& filter)
{
    host::MemberWriter members(message);
    if (!filter.component.empty())
    {
        members.add(filter_member::component, filter.component);
    }
    if (!filter.kinds.empty())
    {
        members.addTexts(filter_member::kinds, filter.kinds);
    }
    if (!filter.severities.empty())
    {
        members.addNumbers(filter_member::severities, filter.severities);
    }
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
    members.finish();
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
