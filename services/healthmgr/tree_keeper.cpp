// SPDX-License-Identifier: Apache-2.0
#include "tree_keeper.hpp"

#include "../common/service_log.hpp"
#include "directories.hpp"
#include "node_key.hpp"

#include <com/vexa/olvar/healthmgr/HealthStatus/common.hpp>
#include <com/vexa/olvar/healthmgr/names.hpp>
#include <hmi_health_value.hpp>
#include <platform/data_abstraction/results.hpp>

#include <chrono>
#include <map>
#include <optional>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

namespace healthintf::healthmgr
{

namespace log = services::log;
using Interface = sdbusplus::common::com::vexa::olvar::healthmgr::HealthStatus;
using services::EventLoop;

namespace
{

/** After a longer failure the service manager is to restart healthmgr. */
constexpr std::chrono::seconds longestFailure{30};

/** The pause before the first comparison after a change, and between
 *  comparisons. */
constexpr std::chrono::milliseconds comparisonPause{100};

/** How long comparisons go on after a change. */
constexpr std::chrono::seconds afterChange{1};

/** How often to check the tree and to remove idle nodes without any event. */
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

/** Matches the signal about names that have lost their owner. */
constexpr const char* nameLossRule =
    "type='signal',sender='org.freedesktop.DBus',member='NameOwnerChanged',"
    "arg2=''";

} // namespace

TreeKeeper::TreeKeeper(services::Connection& connection, EventLoop& loop,
                       HostedNodes& nodes, PeerUsers& users,
                       std::chrono::seconds searchPeriod) :
    connection(connection),
    loop(loop), nodes(nodes), users(users), announcer(connection, loop),
    missing(loop, nodes), handover(nodes, announcer, missing),
    search(connection, loop,
           [this](const NodeSearch::Keys& keys) {
               askNodes(keys);
           }),
    comparisonDue(loop.onceLater([this] {
        compareHealths();
    })),
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
    searching(loop.every(searchPeriod,
                         [this] {
                             searchForNodes();
                         })),
    filter(connection, nodes, announcer,
           {.replace =
                [this](const std::string& key) {
                    handover.takeBack(key);
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
    // While no healthmgr ran, an older holder of a key may have reported its
    // health or its end after the younger one.
    announcer.announceAll();
    searchForNodes();
}

bool TreeKeeper::isProgressing() const
{
    return reconciliation.isProgressing(longestFailure);
}

void TreeKeeper::searchNodesOf(const std::string& peer)
{
    search.ask(peer);
}

/** Watches the segments' folder. If that fails, the folder is checked every
 *  second. */
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

/** Watches the folder again if it was replaced by another one. */
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
    comparison.noteUpdate(parent);
    comparison.noteUpdate(key);
    reportComparison.noteUpdate(key);
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
        handover.giveToDaemon(key);
    }
    if (!remembered)
    {
        tellIfUntrue({{key, health}});
    }
    else if (health == health_namespace::healthNone)
    {
        askAboutEnds(sender);
    }
    missing.hostParent(key);
}

/** Finds the user of a connection that reports for the first time. */
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

/** Checks the records of nodes that reported their end. A node's record is
 *  removed after that report, so the check follows when the sender has
 *  finished. By then another process may have made the node again, with its
 *  report delivered before this one; or a new parent may have read the old
 *  record and missed this report. */
void TreeKeeper::askAboutEnds(const std::string& sender)
{
    if (!reported.beginQuestion(sender))
    {
        return;
    }
    connection.awaitWork(sender, lifetime.guard([this, sender] {
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
    }));
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
    // The bus may deliver a dead process's reports after its nodes were
    // withdrawn or taken over by another process. It delivers none of them
    // after this signal, so now the reports that differ from the records can be
    // corrected.
    tellIfUntrue(reported.take(name));
}

/** Sends the recorded health to the parents of nodes whose reports differ from
 *  it. */
void TreeKeeper::tellIfUntrue(const ReportedHealth::Healths& reports)
{
    for (const auto& [key, health] : reports)
    {
        // A new parent may have read the record of an ended node and missed the
        // report of its end.
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
    // If somebody removed the files of the data cache, the nodes are to be
    // searched for when the root has a record again.
    hasRoot = hasRoot && host::findHealthRecord(names::root).has_value();
    const bool withdrawn = withdrawTheDead();
    // A daemon may have taken a node over before this process subscribed.
    handover.giveAllToDaemons();
    nodes.keepLost();
    missing.hostNow();
    return withdrawn;
}

/** @return whether the data cache could be read */
bool TreeKeeper::withdrawTheDead()
{
    const auto left = withdrawal.removeTheDead();
    if (!left)
    {
        return false;
    }
    std::vector<std::string> keys;
    for (const host::LeftNode& node : *left)
    {
        const std::string& key = node.key;
        // A segment of another user may contain any text.
        if (!isKey(key.c_str()))
        {
            continue;
        }
        SERVICE_LOG(log::lifetime,
                    "%s.%d.%s: process %d is gone, withdrawing %s",
                    static_cast<int>(node.owner.pid), key.c_str());
        reported.forget(key);
        comparison.noteEnd(key);
        keys.push_back(key);
    }
    if (left->empty())
    {
        return true;
    }
    // First, so that a lost monitor's fault takes the place of the daemon's
    // health above the component.
    nodes.noteLost(*left);
    missing.hostNow();
    announcer.announce(keys);
    // If this process ends before the bus has the announcements, the next
    // healthmgr must find the nodes.
    connection.afterBus(lifetime.guard([this, nodes = *left] {
        withdrawal.noteAnnounced(nodes);
        reconciliation.request();
    }));
    return true;
}

/** Asks a node on the bus to publish its health again. */
void TreeKeeper::askForRecord(const std::string& key)
{
    announcer.disown(key.c_str(), "");
}

/** Asks all nodes on the bus without a record to publish their health. While
 * the root has no record either, they find no parent and report to nobody. */
void TreeKeeper::searchForNodes()
{
    // The root is not among the objects that connections list.
    askNodes({names::root});
    search.begin();
    hasRoot = host::findHealthRecord(names::root).has_value();
}

/** Asks those of a connection's nodes that have no record to publish their
 *  health. */
void TreeKeeper::askNodes(const NodeSearch::Keys& keys)
{
    std::size_t asked = 0;
    for (const std::string& key : keys)
    {
        if (isKey(key.c_str()) &&
            (nodes.hosts(key) || !host::findHealthRecord(key)))
        {
            askForRecord(key);
            if (++asked == mostAsked)
            {
                return;
            }
        }
    }
}

/** Asks nodes on the bus without a record to publish their health again, each
 *  once. If the file of their process was removed, the process then makes it
 *  again. */
void TreeKeeper::askForRecords(const HealthComparison::Healths& records)
{
    auto unrecorded = reported.findUnrecorded([&](const std::string& key) {
        // The record may be that of a node here, while the other one was
        // refused its own.
        return records.contains(key) && !nodes.hosts(key);
    });
    for (const std::string& key : unrecorded)
    {
        if (!askedForRecords.contains(key))
        {
            askForRecord(key);
        }
    }
    askedForRecords = std::move(unrecorded);
}

/** Schedules a comparison after a change; several changes share one. */
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
    // While the data cache cannot be read, no node counts as gone.
    if (const auto healths = readHealths())
    {
        findings = comparison.compare(*healths, [this](const std::string& key) {
            // One with a fault may be worse than its children, as a daemon's.
            return nodes.hosts(key) && !nodes.hasFault(key);
        });
        askForRecords(*healths);
        const bool hadRoot =
            std::exchange(hasRoot, healths->contains(names::root));
        if (hasRoot && !hadRoot)
        {
            searchForNodes();
        }
        // An older holder of a key reports another health than its record has.
        announcer.announce(reportComparison.compare(
            reported.differingFrom(*healths), *healths));
    }
    for (const std::string& key : findings.stale)
    {
        // The record may be a daemon's, whose node has faults of its own.
        handover.giveToDaemon(key);
        if (!nodes.hosts(key))
        {
            continue;
        }
        SERVICE_LOG(log::lifetime,
                    "%s.%d.%s: %s is not as its children are, making it anew",
                    key.c_str());
        if (nodes.renew(key) != HostedNodes::Outcome::there)
        {
            missing.hostSoon();
        }
    }
    for (const auto& [key, stranger] : findings.strangers)
    {
        announcer.disown(key.c_str(), stranger.c_str());
    }
    announcer.announce(findings.untold);
    announcer.announce(findings.gone);
    // Nobody reported their end: somebody may have removed their file.
    for (const std::string& key : findings.gone)
    {
        if (isKey(key.c_str()))
        {
            askForRecord(key);
        }
    }
    // A node's record may be removed some time after the report of its end.
    comparing = findings.unsettled ||
                services::Retry::Clock::now() - lastChange < afterChange;
    if (comparing)
    {
        EventLoop::after(comparisonDue, comparisonPause);
    }
}

} // namespace healthintf::healthmgr
