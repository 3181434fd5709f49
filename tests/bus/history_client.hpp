// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file A client of the history that logmgr keeps. */

#include "bus_client.hpp"
#include "logmgr/history_protocol.hpp"

#include <systemd/sd-bus.h>

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace healthintf::test
{

/** A record by the names of its members; an array is its texts, each behind a
 *  blank. */
using HistoryRecord = std::map<std::string, std::string>;

/** A client that reads the history and hears of new records. */
class HistoryClient : public BusClient
{
  public:
    HistoryClient()
    {
        sd_bus_match_signal(get(), nullptr, host::historyService,
                            host::historyPath, host::historyInterface,
                            host::historyRecorded, takeRecord, this);
        // The wait for a name's owner depends on this signal.
        sd_bus_match_signal(
            get(), nullptr, "org.freedesktop.DBus", nullptr, nullptr,
            "NameOwnerChanged",
            [](sd_bus_message*, void*, sd_bus_error*) {
                return 0;
            },
            nullptr);
    }

    void waitUntilReady()
    {
        waitUntil("history", [this] {
            return !findOwner(host::historyService).empty();
        });
    }

    /** All records from a number on, in small pages. */
    std::vector<HistoryRecord> readAll(uint64_t from = 0) const
    {
        std::vector<HistoryRecord> records;
        do
        {
            const MessagePtr reply = call(
                host::historyService, host::historyPath, host::historyInterface,
                host::historyRead, "tbua{sv}", from, 0, uint32_t{50}, 0);
            from = readPage(reply.get(), records);
        } while (from != 0);
        return records;
    }

    /** The records that a filter with one text lets through. */
    std::vector<HistoryRecord> readFiltered(const char* name, const char* type,
                                            auto... value) const
    {
        std::vector<HistoryRecord> records;
        const MessagePtr reply =
            call(host::historyService, host::historyPath,
                 host::historyInterface, host::historyRead, "tbua{sv}",
                 uint64_t{0}, 0, uint32_t{1000}, 1, name, type, value...);
        readPage(reply.get(), records);
        return records;
    }

    uint64_t property(const char* name) const
    {
        const MessagePtr reply = call(host::historyService, host::historyPath,
                                      "org.freedesktop.DBus.Properties", "Get",
                                      "ss", host::historyInterface, name);
        uint64_t value = 0;
        sd_bus_message_read(reply.get(), "v", "t", &value);
        return value;
    }

    /** The kinds of records. */
    static std::vector<std::string>
    kinds(const std::vector<HistoryRecord>& records)
    {
        std::vector<std::string> found;
        for (const HistoryRecord& record : records)
        {
            found.push_back(record.at("Kind"));
        }
        return found;
    }

    /** The records that were announced. */
    std::vector<HistoryRecord> heard;

  private:
    static uint64_t readPage(sd_bus_message* reply,
                             std::vector<HistoryRecord>& records)
    {
        sd_bus_message_enter_container(reply, 'a', "a{sv}");
        while (sd_bus_message_at_end(reply, 0) == 0)
        {
            records.push_back(readRecord(reply));
        }
        sd_bus_message_exit_container(reply);
        uint64_t next = 0;
        sd_bus_message_read(reply, "t", &next);
        return next;
    }

    static HistoryRecord readRecord(sd_bus_message* message)
    {
        HistoryRecord record;
        sd_bus_message_enter_container(message, 'a', "{sv}");
        while (sd_bus_message_enter_container(message, 'e', "sv") > 0)
        {
            const char* name = nullptr;
            const char* type = nullptr;
            sd_bus_message_read(message, "s", &name);
            sd_bus_message_peek_type(message, nullptr, &type);
            const std::string signature = type;
            sd_bus_message_enter_container(message, 'v', signature.c_str());
            record[name] = readValue(message, signature);
            sd_bus_message_exit_container(message);
            sd_bus_message_exit_container(message);
        }
        sd_bus_message_exit_container(message);
        return record;
    }

    static std::string readValue(sd_bus_message* message,
                                 const std::string& type)
    {
        if (type == "as")
        {
            std::string all;
            sd_bus_message_enter_container(message, 'a', "s");
            const char* text = nullptr;
            while (sd_bus_message_read(message, "s", &text) > 0)
            {
                all += std::string(" ") + text;
            }
            sd_bus_message_exit_container(message);
            return all;
        }
        if (type == "s")
        {
            const char* text = nullptr;
            sd_bus_message_read(message, "s", &text);
            return text;
        }
        // Of the numbers the narrow ones are in the first bytes.
        uint64_t number = 0;
        sd_bus_message_read_basic(message, type.front(), &number);
        return std::to_string(number);
    }

    static int takeRecord(sd_bus_message* message, void* context,
                          sd_bus_error* /*error*/)
    {
        static_cast<HistoryClient*>(context)->heard.push_back(
            readRecord(message));
        return 0;
    }
};

} // namespace healthintf::test
