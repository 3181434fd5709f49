// SPDX-License-Identifier: Apache-2.0
#include "logmgr_client.hpp"

#include "../error.hpp"

#include <com/vexa/olvar/logmgr/names.hpp>

#include <logmgr/protocol.hpp>

#include <algorithm>
#include <array>
#include <string>

#include <bus_calls.hpp>

namespace healthintf::healthctl
{
namespace
{

using host::checkBus;

/** How often the log is read when it changes during each reading. */
constexpr int mostListings = 10;

constexpr Service logmgr{.busName = names::logmgrService,
                         .name = "logmgr",
                         .role = "the log manager"};

constexpr ServiceMethod listMethod{.path = names::selPath,
                                   .interface = names::selInterface,
                                   .member = host::listLog,
                                   .changes = false,
                                   .callers = "root"};

constexpr ServiceMethod statusMethod{.path = names::selPath,
                                     .interface =
                                         "org.freedesktop.DBus.Properties",
                                     .member = "GetAll",
                                     .changes = false,
                                     .callers = "root"};

constexpr ServiceMethod clearMethod{
    .path = names::selPath,
    .interface = names::selInterface,
    .member = host::clearUpTo,
    .changes = true,
    .callers = "root or as a member of the group healthintf-operators"};

/** One of the two methods that store a record. */
constexpr ServiceMethod makeAddMethod(const char* member)
{
    return {.path = names::selPath,
            .interface = names::selInterface,
            .member = member,
            .changes = true,
            .callers = "root or as a member of the group healthintf"};
}

/** The next entries to read are gone, or the log was cleared. */
class LogChanged : public Error
{
  public:
    using Error::Error;
};

/** @throws Error for an error that this program knows what to do about */
void throwWithRemedy(const Refusal& refusal)
{
    const std::string text = refusal.what();
    if (refusal.name() == host::selFull)
    {
        throw Error(ExitCode::failed,
                    text + "; \"healthctl sel clear\" does that");
    }
    if (refusal.name() == host::selGrown)
    {
        throw Error(ExitCode::failed, text + "; export it anew");
    }
    if (refusal.name() == host::selOldGeneration ||
        refusal.name() == host::selNoSuchEntry)
    {
        throw LogChanged(ExitCode::failed, text + "; try again");
    }
}

/** Calls and waits for the reply.
 *
 *  @throws Error for an error reply */
MessagePtr reply(const ServiceClient& client, const ServiceMethod& method,
                 const MessagePtr& call)
{
    try
    {
        return client.reply(method, call);
    }
    catch (const Refusal& e)
    {
        throwWithRemedy(e);
        throw;
    }
}

/** Reads the next entry of a list. */
SELEntry_gen readEntry(sd_bus_message* message)
{
    SELEntryProperties entry;
    const char* name = "";
    const char* path = "";
    const void* bytes = nullptr;
    std::size_t size = 0;
    checkBus("entry", sd_bus_message_read(message, "qu(ssyy)", &entry.recordId,
                                          &entry.timestamp, &name, &path,
                                          &entry.sensor.firstByte,
                                          &entry.sensor.secondByte));
    checkBus("entry", sd_bus_message_read_array(message, 'y', &bytes, &size));
    entry.sensor.name = name;
    entry.sensor.path = path;
    std::copy_n(static_cast<const uint8_t*>(bytes),
                std::min(size, entry.record.size()), entry.record.begin());
    return SELEntry_gen(entry);
}

/** Reads the entries of a page and the log's generation.
 *
 *  @return the sequence number of the entry that follows */
uint64_t readPage(sd_bus_message* message, LogContent& content)
{
    constexpr const char* entry = "qu(ssyy)ay";
    checkBus("generation",
             sd_bus_message_read(message, "t", &content.generation));
    checkBus("entries",
             sd_bus_message_enter_container(message, 'a', "(qu(ssyy)ay)"));
    while (sd_bus_message_enter_container(message, 'r', entry) > 0)
    {
        content.entries.push_back(readEntry(message));
        checkBus("entries", sd_bus_message_exit_container(message));
    }
    checkBus("entries", sd_bus_message_exit_container(message));
    uint64_t next = host::noSelSequence;
    checkBus("entries",
             sd_bus_message_read(message, "tq", &next, &content.last));
    return next;
}

} // namespace

LogmgrClient::LogmgrClient() : client(logmgr)
{}

uint32_t LogmgrClient::add(const SELInterface::SensorInfo& sensor,
                           const RawRecord& record,
                           const std::optional<uint32_t>& time)
{
    const ServiceMethod method =
        makeAddMethod(time ? host::addSelWithTimestamp : names::addSelMethod);
    const MessagePtr call = client.newCall(method);
    if (sd_bus_message_append(call.get(), "(ssyy)", sensor.name.c_str(),
                              sensor.path.c_str(), sensor.firstByte,
                              sensor.secondByte) < 0)
    {
        throw Error(ExitCode::usage,
                    "the sensor's name or path is no text; write it in UTF-8");
    }
    checkBus("sd_bus_message_append_array",
             sd_bus_message_append_array(call.get(), 'y', record.data(),
                                         record.size()));
    if (time)
    {
        checkBus("sd_bus_message_append",
                 sd_bus_message_append(call.get(), "u", *time));
    }
    const MessagePtr answer = reply(client, method, call);
    return client.parse([&] {
        uint32_t number = 0;
        checkBus("number", sd_bus_message_read(answer.get(), "u", &number));
        return number;
    });
}

Clearing LogmgrClient::clear(const std::optional<uint16_t>& last,
                             const std::optional<uint64_t>& generation)
{
    const MessagePtr call = client.newCall(clearMethod);
    checkBus("sd_bus_message_append",
             sd_bus_message_append(call.get(), "tq",
                                   generation.value_or(host::anySelGeneration),
                                   last.value_or(host::anyLastSelEntry)));
    const MessagePtr answer = reply(client, clearMethod, call);
    return client.parse([&] {
        Clearing clearing;
        checkBus("numbers",
                 sd_bus_message_read(answer.get(), "uq", &clearing.erased,
                                     &clearing.last));
        return clearing;
    });
}

services::LogStatus LogmgrClient::status()
{
    const MessagePtr call = client.newCall(statusMethod);
    checkBus("sd_bus_message_append",
             sd_bus_message_append(call.get(), "s", names::selInterface));
    const MessagePtr answer = reply(client, statusMethod, call);
    return client.parse([&] {
        return services::readLogStatus(answer.get());
    });
}

LogContent LogmgrClient::content()
{
    for (int listing = 1;; ++listing)
    {
        try
        {
            return readContent();
        }
        catch (const LogChanged&)
        {
            if (listing == mostListings)
            {
                throw;
            }
        }
    }
}

LogContent LogmgrClient::readContent()
{
    LogContent content;
    content.generation = host::anySelGeneration;
    for (uint64_t next = 0; next != host::noSelSequence;)
    {
        const MessagePtr call = client.newCall(listMethod);
        checkBus("sd_bus_message_append",
                 sd_bus_message_append(call.get(), "ttu", content.generation,
                                       next, 0U));
        const std::size_t before = content.entries.size();
        const MessagePtr page = reply(client, listMethod, call);
        next = client.parse([&] {
            return readPage(page.get(), content);
        });
        if (next != host::noSelSequence && content.entries.size() == before)
        {
            throw Error(ExitCode::failed,
                        "logmgr announces more entries and sends "
                        "none; restart it");
        }
    }
    return content;
}

} // namespace healthintf::healthctl
