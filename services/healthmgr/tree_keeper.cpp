#include "tree_keeper.hpp"

#include "../common/contained.hpp"
#include "../common/service_log.hpp"
#include "data_cache/withdrawal.hpp"

#include <com/vexa/olvar/healthmgr/HealthStatus/common.hpp>
#include <com/vexa/olvar/healthmgr/names.hpp>
#include <hmi_health.hpp>
#include <hmi_health_value.hpp>

#include <chrono>
#include <cstring>
#include <exception>
#include <system_error>

namespace healthintf::healthmgr
{

namespace log = services::log;
namespace rules = sdbusplus::bus::match::rules;
using health_namespace::HealthStatus;
using Interface = sdbusplus::common::com::vexa::olvar::healthmgr::HealthStatus;
using services::contained;
using services::EventLoop;

namespace
{

/** What the data cache says of a node; health 0 when there is none. */
uint32_t recordedHealth(const std::string& key)
{
    const auto record = host::findHealthRecord(key);
    return record ? record->health : health_namespace::healthNone;
}

} // namespace

TreeKeeper::TreeKeeper(services::Connection& connection, EventLoop& loop,
                       HostedNodes& nodes) :
    connection(connection),
    nodes(nodes), processes(loop,
                            [this](const host::ProcessIdentity& process) {
                                withdraw(process);
                            }),
    reconciliation(loop.onRequest([this] {
        reconcile();
    })),
    looking(loop.every(std::chrono::seconds(1),
                       [this] {
                           reconcile();
                       })),
    updates(connection.bus(),
            "type='signal'," + rules::interface(Interface::interface) +
                rules::member(Interface::HealthStatusUpdate::name),
            contained([this](auto& message) {
                takeUpdate(message);
            })),
    nameLosses(connection.bus(),
               std::string(rules::nameOwnerChanged()) + rules::argN(2, ""),
               contained([this](auto& message) {
                   takeNameLoss(message);
               }))
{
    reconcile();
}

void TreeKeeper::takeUpdate(sdbusplus::message_t& message)
{
    const std::string sender = message.get_sender();
    if (sender == connection.uniqueName())
    {
        return;
    }
    std::string parent;
    std::string key;
    uint32_t health = 0;
    message.read(parent, key, health);
    if (told.meet(sender))
    {
        EventLoop::request(reconciliation);
    }
    if (!faultOfKey(key).empty())
    {
        return;
    }
    told.note(sender, key, health);
    if (nodes.hosts(key))
    {
        giveWay(key);
    }
    if (health == health_namespace::healthNone)
    {
        takeEnd(sender, key);
    }
}

/** Takes what is perhaps a node's last word. Its record goes after it, so look
 *  again once the sender is through. Another process may have made the node
 *  anew by then, and been overtaken by this; or a parent that was made
 *  meanwhile has found the record, and did not hear this. */
void TreeKeeper::takeEnd(const std::string& sender, const std::string& key)
{
    connection.afterWorkOf(sender, [this, key] {
        EventLoop::request(reconciliation);
        const auto record = host::findHealthRecord(key);
        if (!record || record->health != health_namespace::healthNone)
        {
            tellAsRecorded({key});
        }
    });
}

void TreeKeeper::takeNameLoss(sdbusplus::message_t& message)
{
    std::string name;
    message.read(name);
    if (!name.starts_with(':'))
    {
        return;
    }
    EventLoop::request(reconciliation);
    // The bus still passes on what a process sent before it died, perhaps
    // after its nodes were withdrawn, or after another process took them over.
    // It passes nothing on after this.
    std::vector<std::string> overtaken;
    for (const auto& [key, health] : told.take(name))
    {
        if (recordedHealth(key) != health)
        {
            overtaken.push_back(key);
        }
    }
    tellAsRecorded(overtaken);
}

void TreeKeeper::reconcile()
{
    withdrawTheDead();
    hostMissingParents();
}

void TreeKeeper::withdrawTheDead()
{
    std::set<host::ProcessIdentity> owners;
    host::listOwners(owners);
    std::size_t unwatched = 0;
    int error = 0;
    for (const host::ProcessIdentity& owner : owners)
    {
        try
        {
            processes.watch(owner);
        }
        catch (const std::system_error& e)
        {
            ++unwatched;
            error = e.code().value();
        }
    }
    noteUnwatched(unwatched, error);
}

void TreeKeeper::noteUnwatched(std::size_t count, int error)
{
    EventLoop::enable(looking, count != 0);
    if (count == 0)
    {
        watchFailures.noteSuccess();
    }
    else if (watchFailures.isNews(error))
    {
        SERVICE_LOG(log::error,
                    "%s.%d.%s: unable to watch %zu processes with nodes: %s "
                    "(raise the limit of open files); each is looked at "
                    "every second",
                    count, std::strerror(error));
    }
}

void TreeKeeper::hostMissingParents()
{
    nodes.host(names::root);
    std::vector<std::string> parents;
    HealthStatus::GetMissingParents(parents);
    for (const std::string& parent : parents)
    {
        // Keys outside the tree are nobody's to complete.
        if (faultOfKey(parent).empty())
        {
            nodes.host(parent);
        }
    }
}

void TreeKeeper::withdraw(const host::ProcessIdentity& process)
{
    std::vector<std::string> keys;
    host::withdrawRecords(process, keys);
    for (const std::string& key : keys)
    {
        SERVICE_LOG(log::lifetime,
                    "%s.%d.%s: process %d is gone, withdrawing %s",
                    static_cast<int>(process.pid), key.c_str());
        told.forget(key);
    }
    tellAsRecorded(keys);
    EventLoop::request(reconciliation);
}

void TreeKeeper::giveWay(const std::string& key)
{
    const auto record = host::findHealthRecord(key);
    if (!record || record->owner == host::ProcessIdentity::self())
    {
        return;
    }
    SERVICE_LOG(log::lifetime, "%s.%d.%s: %s is now held by process %d",
                key.c_str(), static_cast<int>(record->owner.pid));
    // The node's end tells its parent health 0. What the daemon's node told
    // before is told once more.
    nodes.release(key);
    tellAsRecorded({key});
}

/** Tells the parents of nodes what the records say, until nothing new came up
 *  meanwhile: another process may make a node at the same time, whose own word
 *  the bus may pass on before this one. */
void TreeKeeper::tellAsRecorded(std::vector<std::string> keys)
{
    while (!keys.empty())
    {
        std::map<std::string, uint32_t> announced;
        for (const std::string& key : keys)
        {
            const uint32_t health = recordedHealth(key);
            announced.emplace(key, health);
            announce(key, health);
        }
        connection.waitForBus();
        std::erase_if(keys, [&announced](const std::string& key) {
            return recordedHealth(key) == announced.at(key);
        });
    }
}

void TreeKeeper::announce(const std::string& key, uint32_t health)
{
    auto signal = connection.bus().new_signal(
        key.c_str(), Interface::interface, Interface::HealthStatusUpdate::name);
    // The root's parent is the key above it, as in what its node sends.
    signal.append(key.substr(0, key.rfind('/')), key, health);
    signal.signal_send();
}

} // namespace healthintf::healthmgr
