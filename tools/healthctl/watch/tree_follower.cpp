// SPDX-License-Identifier: Apache-2.0
#include "tree_follower.hpp"

#include "../error.hpp"
#include "records.hpp"

#include <platform/data_abstraction/health_status.hpp>

#include <chrono>
#include <utility>

namespace healthintf::healthctl
{
namespace
{

constexpr std::chrono::milliseconds readingPace{100};
constexpr std::chrono::seconds confirmationDelay{1};

/** The most bytes that are kept of signals between two readings. */
constexpr std::size_t mostHeard = std::size_t{16} << 20U;

/** What a signal takes beside its texts, about. */
constexpr std::size_t perSignal = 512;

/** The most signals that are taken before a reading. */
constexpr int mostBefore = 65536;

std::size_t countBytes(const std::string& path, const WatchedFault& fault)
{
    const FaultEntryProperties& texts = fault.properties;
    std::size_t bytes = path.size() + texts.fqdd.size() +
                        texts.messageID.size() + texts.message.size() +
                        texts.sensorPath.size();
    for (const std::string& argument : texts.args)
    {
        bytes += sizeof(std::string) + argument.size();
    }
    return bytes;
}

/** Whether the data cache has a record of a node. */
bool isRecorded(const std::string& key)
{
    bool exists = false;
    return datacache_healthstatus_exists(key, exists) ==
               DataAbstraction::readOk &&
           exists;
}

} // namespace

TreeFollower::TreeFollower(sd_bus* bus, services::EventLoop& loop,
                           std::function<void(const Changes&)> onChanges,
                           std::function<void()> whileReading) :
    bus(bus),
    loop(loop), onChanges(std::move(onChanges)),
    whileReading(std::move(whileReading)), reading(loop, readingPace,
                                                   [this] {
                                                       read();
                                                   }),
    confirmation(loop.onceLater([this] {
        confirms = false;
        read();
    })),
    silent(bus,
           [this] {
               reading.request();
           }),
    changes(bus, makeHandlers())
{
    read();
    begun = true;
}

ChangeHandlers TreeFollower::makeHandlers()
{
    return {.health =
                [this](const std::string& key, uint32_t health) {
                    takeHealth(key, health);
                },
            .faultAdded =
                [this](const std::string& path, const WatchedFault& fault) {
                    take(countBytes(path, fault),
                         [path, fault](WatchedTree& tree) {
                             return tree.addFault(path, fault);
                         });
                },
            .faultRemoved =
                [this](const std::string& path) {
                    take(path.size(), [path](WatchedTree& tree) {
                        return tree.removeFault(path);
                    });
                },
            .hidden =
                [this](const std::string& path, bool hidden) {
                    take(path.size(), [path, hidden](WatchedTree& tree) {
                        return tree.setHidden(path, hidden);
                    });
                },
            .unsure =
                [this] {
                    reading.request();
                }};
}

void TreeFollower::takeHealth(const std::string& key, uint32_t health)
{
    if (known.nodes().contains(key))
    {
        take(key.size(), [key, health](WatchedTree& tree) {
            return tree.setHealth(key, health);
        });
        return;
    }
    // The reading finds out who holds it, if anybody does.
    reading.request();
    if (isRecorded(key))
    {
        take(key.size(), [key, health](WatchedTree& tree) {
            return tree.addNode(key, {health, ""});
        });
    }
}

void TreeFollower::take(std::size_t bytes, const Heard& heard)
{
    loop.perform([&] {
        // Any process may send any signals. A reading shows what is so.
        if (perSignal + bytes > mostHeard - bytesHeard)
        {
            reading.request();
            return;
        }
        bytesHeard += perSignal + bytes;
        if (asking)
        {
            heardMeanwhile.push_back(heard);
        }
        if (!begun)
        {
            return;
        }
        const Changes made = heard(known);
        if (!made.empty())
        {
            onChanges(made);
            confirmLater();
        }
    });
}

void TreeFollower::read()
{
    // Signals from before come first, so that changes keep their order.
    for (int i = 0; i < mostBefore && sd_bus_process(bus, nullptr) > 0; ++i)
    {}
    Records records;
    asking = true;
    heardMeanwhile.clear();
    bytesHeard = 0;
    try
    {
        records = readTree({silent.names(), whileReading});
    }
    catch (const Error& e)
    {
        asking = false;
        if (e.code() != ExitCode::unavailable)
        {
            throw;
        }
        whyNothing = e.what();
        confirmLater();
        return;
    }
    asking = false;
    // A process may have answered before it sent what was heard meanwhile.
    WatchedTree present;
    present.takeOver(records.nodes, records.faults);
    for (const Heard& heard : std::exchange(heardMeanwhile, {}))
    {
        heard(present);
    }
    const Changes made =
        known.takeOver(present.nodes(), present.faults(), records.silent);
    whyNothing = records.nothing;
    silent.takeOver(records.silent);
    if (begun)
    {
        onChanges(made);
    }
    if (!made.empty())
    {
        confirmLater();
    }
}

void TreeFollower::confirmLater()
{
    if (!std::exchange(confirms, true))
    {
        services::EventLoop::after(confirmation, confirmationDelay);
    }
}

} // namespace healthintf::healthctl
