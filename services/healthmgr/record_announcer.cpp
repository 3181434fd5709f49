// SPDX-License-Identifier: Apache-2.0
#include "record_announcer.hpp"

#include "../common/service_log.hpp"
#include "data_cache/withdrawal.hpp"

#include <com/vexa/olvar/healthmgr/HealthStatus/common.hpp>
#include <com/vexa/olvar/healthmgr/names.hpp>
#include <hmi_health_value.hpp>
#include <platform/data_abstraction/health_status.hpp>

#include <exception>

namespace healthintf::healthmgr
{

namespace log = services::log;
using Interface = sdbusplus::common::com::vexa::olvar::healthmgr::HealthStatus;
using services::EventLoop;

std::optional<uint32_t> recordedHealth(const std::string& key)
{
    if (const auto record = host::findHealthRecord(key))
    {
        return record->health;
    }
    bool exists = false;
    const long result = datacache_healthstatus_exists(key, exists);
    return result == DataAbstraction::readOk ||
                   result == DataAbstraction::readNoRecords
               ? std::optional(uint32_t{health_namespace::healthNone})
               : std::nullopt;
}

RecordAnnouncer::RecordAnnouncer(services::Connection& connection,
                                 EventLoop& loop) :
    connection(connection),
    pauseEnd(loop.onceLater([this] {
        goOn();
    }))
{}

void RecordAnnouncer::announce(const std::vector<std::string>& keys)
{
    for (const std::string& key : keys)
    {
        // A key that is not an object path has no node, even if the data cache
        // has a record of it.
        if (sd_bus_object_path_is_valid(key.c_str()) > 0)
        {
            waiting.insert(key);
        }
    }
    sendWaiting();
}

void RecordAnnouncer::announceIfRoom(const std::string& key)
{
    if (waiting.size() + sent.size() + unsettled.size() < most)
    {
        announce({key});
        return;
    }
    if (const auto health = recordedHealth(key))
    {
        send(key, *health);
    }
    announceAll();
}

void RecordAnnouncer::announceAll()
{
    all = true;
    rest();
}

void RecordAnnouncer::disown(const char* parent, const char* child)
{
    // Sent from healthmgr's path: the child's key may not be an object path.
    auto signal =
        connection.bus().new_signal(names::managerPath, Interface::interface,
                                    Interface::HealthStatusUpdate::name);
    const uint32_t none = health_namespace::healthNone;
    signal.append(parent, child, none);
    signal.signal_send();
    connection.flush();
}

void RecordAnnouncer::sendWaiting()
{
    if (asked || (waiting.empty() && sent.empty()))
    {
        return;
    }
    try
    {
        while (!waiting.empty())
        {
            const auto first = waiting.begin();
            if (const auto health = recordedHealth(*first))
            {
                send(*first, *health);
                sent.insert_or_assign(*first, *health);
            }
            else
            {
                unsettled.insert(*first);
            }
            waiting.erase(first);
        }
        if (!unsettled.empty())
        {
            rest();
        }
        if (!sent.empty())
        {
            connection.afterBus(lifetime.guard([this] {
                compare();
            }));
            asked = true;
        }
    }
    catch (const std::exception& e)
    {
        SERVICE_LOG(log::warning,
                    "%s.%d.%s: unable to tell of %zu nodes, trying again: %s",
                    waiting.size() + sent.size(), e.what());
        unsettled.merge(waiting);
        rest();
    }
}

void RecordAnnouncer::send(const std::string& key, uint32_t health)
{
    auto signal = connection.bus().new_signal(
        key.c_str(), Interface::interface, Interface::HealthStatusUpdate::name);
    // The root's parent is the key above it, as in the signals of its node.
    signal.append(key.substr(0, key.rfind('/')), key, health);
    signal.signal_send();
}

/** Compares the records with what the bus has passed on. */
void RecordAnnouncer::compare()
{
    asked = false;
    for (const auto& [key, health] : sent)
    {
        if (recordedHealth(key) != health)
        {
            unsettled.insert(key);
        }
    }
    sent.clear();
    if (!unsettled.empty())
    {
        rest();
    }
    else if (!resting)
    {
        pauses.reset();
    }
    sendWaiting();
}

void RecordAnnouncer::rest()
{
    if (!resting)
    {
        resting = true;
        EventLoop::after(pauseEnd, pauses.next());
    }
}

/** Announces again the nodes that waited for the end of the pause. */
void RecordAnnouncer::goOn()
{
    resting = false;
    waiting.merge(unsettled);
    unsettled.clear();
    if (all)
    {
        std::map<std::string, HealthStatus_gen> records;
        const long result =
            DataAbstraction::HealthStatus::get_map_by_path_prefixes({}, {},
                                                                    records);
        all = result != DataAbstraction::readOk &&
              result != DataAbstraction::readNoRecords;
        if (all)
        {
            rest();
        }
        std::vector<std::string> keys;
        keys.reserve(records.size());
        for (const auto& [key, record] : records)
        {
            keys.push_back(key);
        }
        announce(keys);
    }
    sendWaiting();
}

} // namespace healthintf::healthmgr
