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
                    take([path, fault](WatchedTree& tree) {
                        return tree.addFault(path, fault);
                    });
                },
            .faultRemoved =
                [this](const std::string& path) {
                    take([path](WatchedTree& tree) {
                        return tree.removeFault(path);
                    });
                },
            .hidden =
                [this](const std::string& path, bool hidden) {
                    take([path, hidden](WatchedTree& tree) {
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
        take([key, health](WatchedTree& tree) {
            return tree.setHealth(key, health);
        });
        return;
    }
    // The reading finds out who holds it, if anybody does.
    reading.request();
    if (isRecorded(key))
    {
        take([key, health](WatchedTree& tree) {
            return tree.addNode(key, {health, ""});
        });
    }
}

void TreeFollower::take(const Heard& heard)
{
    loop.perform([&] {
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
    while (sd_bus_process(bus, nullptr) > 0)
    {}
    Records records;
    asking = true;
    heardMeanwhile.clear();
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
