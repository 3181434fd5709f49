#include "tree_keeper.hpp"

#include "../common/service_log.hpp"
#include "directories.hpp"

#include <com/vexa/olvar/healthmgr/HealthStatus/common.hpp>
#include <com/vexa/olvar/healthmgr/names.hpp>
#include <hmi_health.hpp>
#include <hmi_health_value.hpp>
#include <platform/data_abstraction/results.hpp>

#include <chrono>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

namespace healthintf::healthmgr
{

namespace log = services::log;
using health_namespace::HealthStatus;
using Interface = sdbusplus::common::com::vexa::olvar::healthmgr::HealthStatus;
using services::EventLoop;

namespace
{

/** A failure that lasts longer is for the service manager to see. */
constexpr std::chrono::seconds longestFailure{30};

/** How soon to compare the health of nodes after a change, and then again. */
constexpr std::chrono::milliseconds comparisonPause{100};

/** How long to go on comparing after a change. */
constexpr std::chrono::seconds afterChange{1};

/** How often to look, also without cause, whether all is in order, and for
 *  nodes that nobody needs. */
constexpr std::chrono::seconds idlePeriod{10};

/** The health of all nodes; nothing when the data cache cannot be read. */
std::optional<HealthComparison::Healths> readHealths()
{
    std::map<std::string, HealthStatus_gen> records;
    const long result = DataAbstraction::HealthStatus::get_map_by_path_prefixes(
        {}, {}, records);
    if (result != DataAbstraction::readOk &&
        result != DataAbstraction::readNoRecords)
    {
        return std::nullopt;
    }
    HealthComparison::Healths healths;
    for (const auto& [key, record] : records)
    {
        healths.emplace_hint(healths.end(), key, record.healthStatus());
    }
    return healths;
}

std::string updateRule()
{
    return std::string("type='signal',interface='") + Interface::interface +
           "',member='" + Interface::HealthStatusUpdate::name + "'";
}

/** That of the names that have no owner any more. */
constexpr const char* nameLossRule =
    "type='signal',sender='org.freedesktop.DBus',member='NameOwnerChanged',"
    "arg2=''";

} // namespace

TreeKeeper::TreeKeeper(services::Connection& connection, EventLoop& loop,
                       HostedNodes& nodes, PeerUsers& users) :
    connection(connection),
    loop(loop), nodes(nodes), users(users), announcer(connection, loop),
    comparisonDue(loop.onceLater([this] {
        compareHealths();
    })),
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
                         [this] {
                             this->nodes.releaseIdle(NodeSlots::Clock::now());
                             comparison.beginAnew();
                             askedForRecords.clear();
                             reconciliation.request();
                         })),
    filter(connection, nodes, announcer,
           {.replace =
                [this](const std::string& key) {
                    replaceEnded(key);
                },
            .take =
                [this](auto& message) {
                    takeUpdate(message);
                }}),
    updates(connection.get(), updateRule(),
            [this](auto& message) {
                takeUpdate(message);
            }),
    nameLosses(connection.get(), nameLossRule, [this](auto& message) {
        takeNameLoss(message);
    })
{
    watchSegments();
    reconciliation.attempt();
}

bool TreeKeeper::isProgressing() const
{
    return reconciliation.isProgressing(longestFailure);
}

/** Without a watch, who has died is found a second later at most. */
void TreeKeeper::watchSegments()
{
    const bool isNews = segments.has_value() || !looksOften;
    segments.reset();
    try
    {
        segments.emplace(loop, host::dataCacheFolder(), [this] {
            reconciliation.request();
        });
    }
    catch (const std::system_error& e)
    {
        if (isNews)
        {
            SERVICE_LOG(log::error,
                        "%s.%d.%s: unable to watch the data cache: %s; it is "
                        "looked at every second",
                        e.what());
        }
    }
    looksOften = !segments;
    EventLoop::enable(looking, looksOften);
}

/** Watches the folder that has the name now, if that is another one. */
void TreeKeeper::keepWatching()
{
    if (!segments || segments->isLost())
    {
        watchSegments();
    }
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
    compareSoon();
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
            if (!record)
            {
                comparison.noteEnd(key);
            }
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
    if (faultOfKey(parent).empty() && !nodes.hosts(parent) &&
        !host::findHealthRecord(parent) && host::findHealthRecord(key))
    {
        hosting.request();
    }
}

/** Makes a node in the place of one that ended, so that its parent does not
 *  lose what is below. */
void TreeKeeper::replaceEnded(const std::string& key)
{
    std::map<std::string, HealthStatus_gen> below;
    DataAbstraction::HealthStatus::get_map_by_path_prefixes({}, {key + "/"},
                                                            below);
    if (!below.empty())
    {
        hosting.attempt();
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
    compareSoon();
    keepWatching();
    const bool withdrawn = withdrawTheDead();
    // Who took a node over may have told so before this process listened.
    for (const std::string& key : nodes.overtaken())
    {
        giveWay(key);
    }
    hosting.attempt();
    return withdrawn;
}

/** @return whether the data cache could be looked at */
bool TreeKeeper::withdrawTheDead()
{
    const auto left = withdrawal.removeTheDead();
    if (!left)
    {
        return false;
    }
    std::vector<std::string> keys;
    for (const auto& [key, owner] : *left)
    {
        // The segment of a stranger may hold any text.
        if (!isKey(key.c_str()))
        {
            continue;
        }
        SERVICE_LOG(log::lifetime,
                    "%s.%d.%s: process %d is gone, withdrawing %s",
                    static_cast<int>(owner.pid), key.c_str());
        reported.forget(key);
        comparison.noteEnd(key);
        keys.push_back(key);
    }
    announcer.announce(keys);
    return true;
}

bool TreeKeeper::hostMissingParents()
{
    bool whole = nodes.host(names::root) == HostedNodes::Outcome::there;
    std::vector<std::string> parents;
    HealthStatus::GetMissingParents(parents);
    // Each child names its parent.
    for (const std::string& parent : std::set(parents.begin(), parents.end()))
    {
        // Keys outside the tree are nobody's to complete.
        if (faultOfKey(parent).empty())
        {
            whole = nodes.host(parent) == HostedNodes::Outcome::there && whole;
        }
    }
    for (const std::string& key : nodes.withoutRecord())
    {
        whole = nodes.host(key) == HostedNodes::Outcome::there && whole;
    }
    return whole;
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
    nodes.lend(key);
    announcer.announce({key});
}

/** Asks nodes to publish their health again that are on the bus and have no
 *  record, each once: perhaps somebody has removed the file of their process,
 *  which makes it anew then. */
void TreeKeeper::askForRecords(const HealthComparison::Healths& records)
{
    auto missing = reported.missingFrom(records);
    for (const std::string& key : missing)
    {
        if (!askedForRecords.contains(key))
        {
            announcer.disown(key.c_str(), "");
        }
    }
    askedForRecords = std::move(missing);
}

/** Compares what is held here with the records after a change, once for many
 *  changes. */
void TreeKeeper::compareSoon()
{
    lastChange = services::Retry::Clock::now();
    if (!comparing)
    {
        comparing = true;
        EventLoop::after(comparisonDue, comparisonPause);
    }
}

void TreeKeeper::compareHealths()
{
    keepWatching();
    HealthComparison::Findings findings;
    // In a cache that cannot be read nothing is gone.
    if (const auto healths = readHealths())
    {
        findings = comparison.compare(*healths, [this](const std::string& key) {
            return nodes.hosts(key);
        });
        askForRecords(*healths);
    }
    for (const std::string& key : findings.stale)
    {
        // What differs may be a daemon's, which has faults of its own.
        giveWay(key);
        if (!nodes.hosts(key))
        {
            continue;
        }
        SERVICE_LOG(log::lifetime,
                    "%s.%d.%s: %s is not as its children are, making it anew",
                    key.c_str());
        if (nodes.renew(key) != HostedNodes::Outcome::there)
        {
            hosting.request();
        }
    }
    for (const auto& [key, stranger] : findings.strangers)
    {
        announcer.disown(key.c_str(), stranger.c_str());
    }
    announcer.announce(findings.untold);
    announcer.announce(findings.gone);
    // The record of a node may go some time after the node's last word.
    comparing = findings.unsettled ||
                services::Retry::Clock::now() - lastChange < afterChange;
    if (comparing)
    {
        EventLoop::after(comparisonDue, comparisonPause);
    }
}

} // namespace healthintf::healthmgr
