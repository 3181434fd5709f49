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
#include <optional>
#include <set>
#include <system_error>
#include <vector>

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

/** A failure that lasts longer is for the service manager to see. */
constexpr std::chrono::seconds longestFailure{30};

/** How often to look for nodes that nobody needs. */
constexpr std::chrono::seconds idlePeriod{10};

} // namespace

TreeKeeper::TreeKeeper(services::Connection& connection, EventLoop& loop,
                       HostedNodes& nodes, PeerUsers& users) :
    connection(connection),
    nodes(nodes), users(users), announcer(connection, loop),
    processes(loop,
              [this](const host::ProcessIdentity& process) {
                  withdraw(process);
              }),
    hosting(loop,
            [this] {
                return hostMissingParents();
            }),
    reconciliation(loop,
                   [this] {
                       return reconcile();
                   }),
    looking(loop.every(std::chrono::seconds(1),
                       [this] {
                           reconciliation.attempt();
                       })),
    idleNodes(loop.every(idlePeriod,
                         [&nodes] {
                             nodes.releaseIdle(NodeSlots::Clock::now());
                         })),
    filter(connection, nodes, announcer),
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
    reconciliation.attempt();
}

bool TreeKeeper::isProgressing() const
{
    return reconciliation.isProgressing(longestFailure);
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
    if (reported.meet(sender))
    {
        meet(sender);
    }
    if (!isKey(key.c_str()))
    {
        return;
    }
    const bool remembered = reported.note(sender, key, health);
    if (nodes.hosts(key))
    {
        giveWay(key);
    }
    if (!remembered)
    {
        tellIfUntrue({{key, health}});
    }
    else if (health == health_namespace::healthNone)
    {
        askAboutEnds(sender);
    }
    completeAbove(key);
}

/** Notes somebody who reports for the first time. */
void TreeKeeper::meet(const std::string& sender)
{
    reconciliation.request();
    users.find(sender, [this, sender](std::optional<uint32_t> user) {
        if (user)
        {
            tellIfUntrue(reported.setUser(sender, *user));
        }
    });
}

/** Looks at what are perhaps nodes' last words. Their records go after them, so
 *  look again once the sender is through. Another process may have made a node
 *  anew by then, and been overtaken by this; or a parent that was made
 *  meanwhile has found the record, and did not hear this. */
void TreeKeeper::askAboutEnds(const std::string& sender)
{
    if (!reported.beginQuestion(sender))
    {
        return;
    }
    connection.afterWorkOf(sender, [this, sender] {
        reconciliation.request();
        std::vector<std::string> changed;
        for (const std::string& key : reported.endQuestion(sender))
        {
            const auto record = host::findHealthRecord(key);
            if (!record || record->health != health_namespace::healthNone)
            {
                changed.push_back(key);
            }
        }
        announcer.announce(changed);
        askAboutEnds(sender);
    });
}

/** Makes the parent of a node that lost it since it looked for it. */
void TreeKeeper::completeAbove(const std::string& key)
{
    const std::string parent = HealthStatus::GetParentKey(key);
    if (!parent.empty() && !nodes.hosts(parent) &&
        !host::findHealthRecord(parent) && host::findHealthRecord(key))
    {
        hosting.request();
    }
}

void TreeKeeper::takeNameLoss(sdbusplus::message_t& message)
{
    std::string name;
    message.read(name);
    if (!name.starts_with(':'))
    {
        return;
    }
    reconciliation.request();
    users.forget(name);
    nodes.forget(name);
    // The bus still passes on what a process sent before it died, perhaps
    // after its nodes were withdrawn, or after another process took them over.
    // It passes nothing on after this.
    tellIfUntrue(reported.take(name));
}

/** Tells the parents of nodes what the records say, where somebody reported
 *  something else. */
void TreeKeeper::tellIfUntrue(const ReportedHealth::Healths& reports)
{
    for (const auto& [key, health] : reports)
    {
        // Of a node's end a parent may not have heard that found its record.
        if (health == health_namespace::healthNone ||
            recordedHealth(key) != health)
        {
            announcer.announceIfRoom(key);
        }
    }
}

bool TreeKeeper::reconcile()
{
    withdrawn = true;
    withdrawTheDead();
    hosting.attempt();
    return withdrawn;
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
    else if (watchFailures.admits(error))
    {
        SERVICE_LOG(log::error,
                    "%s.%d.%s: unable to watch %zu processes with nodes: %s "
                    "(raise the limit of open files); each is looked at "
                    "every second",
                    count, std::strerror(error));
    }
}

bool TreeKeeper::hostMissingParents()
{
    bool whole = nodes.host(names::root) == HostedNodes::Outcome::there;
    std::vector<std::string> parents;
    HealthStatus::GetMissingParents(parents);
    for (const std::string& parent : parents)
    {
        // Keys outside the tree are nobody's to complete.
        if (faultOfKey(parent).empty())
        {
            whole = nodes.host(parent) == HostedNodes::Outcome::there && whole;
        }
    }
    return whole;
}

void TreeKeeper::withdraw(const host::ProcessIdentity& process)
{
    reconciliation.request();
    std::vector<std::string> keys;
    if (const int error = host::withdrawRecords(process, keys); error != 0)
    {
        SERVICE_LOG(log::error,
                    "%s.%d.%s: unable to withdraw what process %d left, trying "
                    "again: error %d of the data cache",
                    static_cast<int>(process.pid), error);
        withdrawn = false;
        return;
    }
    for (const std::string& key : keys)
    {
        SERVICE_LOG(log::lifetime,
                    "%s.%d.%s: process %d is gone, withdrawing %s",
                    static_cast<int>(process.pid), key.c_str());
        reported.forget(key);
    }
    announcer.announce(keys);
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
    announcer.announce({key});
}

} // namespace healthintf::healthmgr
