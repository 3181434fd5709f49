// SPDX-License-Identifier: Apache-2.0
#include "history_follower.hpp"

#include "../watch/ending_signals.hpp"

#include <logmgr/history_protocol.hpp>

#include <unistd.h>

#include <chrono>
#include <iostream>
#include <utility>

#include <bus_calls.hpp>

namespace healthintf::healthctl
{
namespace
{

/** Records of a storm are read together. */
constexpr std::chrono::milliseconds readingPeriod(100);

} // namespace

HistoryFollower::HistoryFollower(sd_bus* bus, services::EventLoop& loop,
                                 const HistoryReader& reader, uint64_t from,
                                 Write write) :
    bus(bus),
    reader(reader), next(from), write(std::move(write)),
    // Otherwise "healthctl history --follow | head" would go on until the next
    // record.
    hangup(loop.onHangup(STDOUT_FILENO,
                         [&loop] {
                             loop.exit(0);
                         })),
    reading(loop, readingPeriod, [this] {
        readOn();
    })
{
    // The reader may be gone before the loop runs.
    endWithReader();
    match(std::string("type='signal',sender='") + host::historyService +
          "',path='" + host::historyPath + "',interface='" +
          host::historyInterface + "',member='" + host::historyRecorded + "'");
    match(std::string("type='signal',sender='org.freedesktop.DBus',"
                      "interface='org.freedesktop.DBus',"
                      "member='NameOwnerChanged',arg0='") +
          host::historyService + "'");
    readAll();
}

void HistoryFollower::match(const std::string& rule)
{
    sd_bus_slot* slot = nullptr;
    host::checkBus(
        "unable to listen to the bus",
        sd_bus_add_match(
            bus, &slot, rule.c_str(),
            [](sd_bus_message*, void* follower, sd_bus_error*) {
                static_cast<HistoryFollower*>(follower)->reading.request();
                return 0;
            },
            this));
    slots.emplace_back(slot);
}

/** Reads what is new; waits for the next signal when logmgr is away. */
void HistoryFollower::readOn()
{
    try
    {
        readAll();
        away = false;
    }
    catch (const Error& e)
    {
        if (e.code() != ExitCode::unavailable)
        {
            throw;
        }
        if (!std::exchange(away, true))
        {
            std::cerr << "healthctl: logmgr is away; what comes meanwhile "
                         "follows once it is back\n";
        }
    }
}

void HistoryFollower::readAll()
{
    // Neither logmgr nor the reader of our output may let us wait for good.
    const ImmediateEnd ending;
    reader.readForwards(next, [this](const std::vector<HistoryRecord>& page) {
        for (const HistoryRecord& record : page)
        {
            write(record);
            next = record.sequence + 1;
        }
        return true;
    });
}

} // namespace healthintf::healthctl
