// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file A client of logmgr on the bus. */

#include "bus_client.hpp"
#include "process.hpp"
#include "text.hpp"

#include <systemd/sd-bus.h>

#include <cstdint>
#include <string>
#include <vector>

namespace healthintf::test
{

inline constexpr const char* logService = "com.vexa.olvar.logmgr";
inline constexpr const char* logPath = "/com/vexa/olvar/logmgr/SEL";
inline constexpr const char* logInterface = "com.vexa.olvar.logmgr.SEL";

using Bytes = std::vector<uint8_t>;
using Ids = std::vector<uint16_t>;

/** The record of a sensor's event. */
inline Bytes makeRecord(uint8_t sensorNumber, uint8_t type = 0x02)
{
    return {0, 0, type, 0xc1,         0xc2, 0xc3, 0xc4, 0x20,
            0, 4, 4,    sensorNumber, 1,    0x57, 0x11, 0x22};
}

/** An entry as a client reads it, with the next entry's identifier. */
struct ReadEntry
{
    uint16_t id = 0;
    uint32_t timestamp = 0;
    std::string name;
    std::string path;
    uint8_t firstByte = 0;
    uint8_t secondByte = 0;
    Bytes record;
    uint16_t next = 0;
};

/** A client that adds and reads events and receives signals. */
class LogClient : public BusClient
{
  public:
    LogClient()
    {
        sd_bus_match_signal(get(), nullptr, nullptr, nullptr, logInterface,
                            nullptr, takeSignal, this);
        // The wait for a name's owner depends on this signal.
        sd_bus_match_signal(get(), nullptr, "org.freedesktop.DBus", nullptr,
                            nullptr, "NameOwnerChanged", ignore, nullptr);
    }

    /** Starts logmgr and waits until it is ready. */
    Process start(const std::vector<std::string>& options = {})
    {
        std::vector<std::string> command{LOGMGR};
        command.insert(command.end(), options.begin(), options.end());
        Process started(command);
        waitUntilReady();
        return started;
    }

    void waitUntilGone()
    {
        waitUntil("end of logmgr", [this] {
            return findOwner(logService).empty();
        });
    }

    void waitUntilReady()
    {
        waitUntil("logmgr", [this] {
            return !findOwner(logService).empty();
        });
        // logmgr owns its name before the mirror is complete, and replies after
        // that.
        call(logService, logPath, "org.freedesktop.DBus.Peer", "Ping", "");
    }

    /** Builds the call that adds a record. */
    MessagePtr addition(const Bytes& record) const
    {
        sd_bus_message* message = nullptr;
        sd_bus_message_new_method_call(get(), &message, logService, logPath,
                                       logInterface, "AddSEL");
        sd_bus_message_append(message, "(ssyy)", "Fan 7", "/sensors/fan7", 20,
                              1);
        sd_bus_message_append_array(message, 'y', record.data(), record.size());
        return MessagePtr(message);
    }

    /** @return the record's identifier
     *  @throws std::runtime_error with the text of an error reply */
    uint32_t add(const Bytes& record) const
    {
        sd_bus_error error = SD_BUS_ERROR_NULL;
        sd_bus_message* reply = nullptr;
        const MessagePtr call = addition(record);
        sd_bus_call(get(), call.get(), 0, &error, &reply);
        const MessagePtr owned(reply);
        throwIfSet(error);
        uint32_t id = 0;
        sd_bus_message_read(reply, "u", &id);
        return id;
    }

    /** Sends an addition; its reply is appended to heard as "reply". */
    void sendAddition(const Bytes& record)
    {
        sd_bus_call_async(get(), nullptr, addition(record).get(), takeReply,
                          this, 0);
    }

    ReadEntry entry(uint16_t id) const
    {
        const MessagePtr reply = callLog("GetEntry", "q", id);
        ReadEntry read = entryIn(reply.get());
        sd_bus_message_read(reply.get(), "q", &read.next);
        return read;
    }

    /** The identifiers of a page, followed by the next entry's identifier. */
    Ids page(uint16_t first, uint32_t limit) const
    {
        const MessagePtr reply = callLog("ListEntries", "qu", first, limit);
        sd_bus_message* m = reply.get();
        Ids ids;
        sd_bus_message_enter_container(m, 'a', "(qu(ssyy)ay)");
        while (sd_bus_message_enter_container(m, 'r', "qu(ssyy)ay") > 0)
        {
            ids.push_back(entryIn(m).id);
            sd_bus_message_exit_container(m);
        }
        sd_bus_message_exit_container(m);
        uint16_t next = 0;
        sd_bus_message_read(m, "q", &next);
        ids.push_back(next);
        return ids;
    }

    uint32_t clear() const
    {
        uint32_t erased = 0;
        sd_bus_message_read(callLog("Clear", "").get(), "u", &erased);
        return erased;
    }

    /** A property's value as text. */
    std::string property(const char* name) const
    {
        const MessagePtr reply =
            call(logService, logPath, "org.freedesktop.DBus.Properties", "Get",
                 "ss", logInterface, name);
        return arguments(reply.get());
    }

    template <typename... Args>
    MessagePtr callLog(const char* member, const char* types,
                       Args... args) const
    {
        return call(logService, logPath, logInterface, member, types, args...);
    }

    /** The log's signals and the replies, in order of arrival. */
    std::vector<std::string> heard;
    /** The bytes of the last announced event. */
    Bytes announced;

  private:
    static Bytes bytesIn(sd_bus_message* message)
    {
        const void* bytes = nullptr;
        std::size_t size = 0;
        sd_bus_message_read_array(message, 'y', &bytes, &size);
        const auto* first = static_cast<const uint8_t*>(bytes);
        return {first, first + size};
    }

    static ReadEntry entryIn(sd_bus_message* message)
    {
        ReadEntry read;
        const char* name = "";
        const char* path = "";
        sd_bus_message_read(message, "qu(ssyy)", &read.id, &read.timestamp,
                            &name, &path, &read.firstByte, &read.secondByte);
        read.name = name;
        read.path = path;
        read.record = bytesIn(message);
        return read;
    }

    static int ignore(sd_bus_message* /*message*/, void* /*context*/,
                      sd_bus_error* /*error*/)
    {
        return 0;
    }

    static int takeSignal(sd_bus_message* message, void* context,
                          sd_bus_error* /*error*/)
    {
        auto* client = static_cast<LogClient*>(context);
        const std::string member = sd_bus_message_get_member(message);
        client->heard.push_back(member + " " +
                                sd_bus_message_get_path(message));
        if (member == "SignalSELEvent")
        {
            client->announced = bytesIn(message);
        }
        return 0;
    }

    static int takeReply(sd_bus_message* message, void* context,
                         sd_bus_error* /*error*/)
    {
        const sd_bus_error* error = sd_bus_message_get_error(message);
        static_cast<LogClient*>(context)->heard.emplace_back(
            error == nullptr ? "reply" : error->name);
        return 0;
    }
};

} // namespace healthintf::test
