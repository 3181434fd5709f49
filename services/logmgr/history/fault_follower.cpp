// SPDX-License-Identifier: Apache-2.0
#include "fault_follower.hpp"

#include "../../common/entry_path.hpp"
#include "../../common/service_log.hpp"
#include "healthmgr/protocol.hpp"
#include "line_limit.hpp"

#include <hmi_fault_health.hpp>

#include <algorithm>
#include <iterator>
#include <utility>

namespace healthintf::history
{

namespace log = services::log;
using health_namespace::FaultAndHealth;
using std::chrono::nanoseconds;

namespace
{

/** Limits the lines about users with too many faults. */
constinit host::LineLimit tooManyLines;

Fault makeFault(const host::Reporter& reporter, const std::string& entry,
                const FaultEntryProperties& properties)
{
    return {.component = std::string(services::getComponent(entry)),
            .entry = entry,
            .messageId = properties.messageID,
            .args = properties.args,
            .message = properties.message,
            .severity = properties.severity,
            .sensorPath = properties.sensorPath,
            .sensorNumber = properties.sensorNumber,
            .sensorType = properties.sensorType,
            .process = reporter.name,
            .pid = reporter.process.pid,
            .user = reporter.user};
}

bool isMonitorLost(const Fault& fault)
{
    return fault.messageId == host::monitorLostMessage;
}

FollowedFault begin(const host::Reporter& reporter, Fault fault, int64_t time,
                    bool missed)
{
    FollowedFault begun;
    begun.appeared.kind =
        isMonitorLost(fault) ? Kind::monitorLost : Kind::appeared;
    begun.appeared.time = time;
    begun.appeared.missed = missed;
    begun.appeared.fault = std::move(fault);
    begun.processStart = reporter.process.startTime;
    return begun;
}

/** Whether a fault's process has ended, and another one has its id now. */
bool isOfEarlierProcess(const FollowedFault& fault,
                        const host::Reporter& reporter)
{
    return fault.appeared.fault.pid == reporter.process.pid &&
           fault.processStart != reporter.process.startTime;
}

/** Whether a record keeps an entry's path as it is. One that it cuts would
 *  never be found again, and could take the place of another one. */
bool keepsWhole(const std::string& entry)
{
    std::string kept = entry;
    trimText(kept);
    return kept == entry;
}

/** A component's faults in a process. */
std::pair<std::string, uint32_t> groupOf(const Fault& fault)
{
    return {fault.component, fault.pid};
}

} // namespace

FaultFollower::Key FaultFollower::keyOf(const Fault& fault)
{
    return {fault.entry, fault.user};
}

FaultFollower::FaultFollower(HistoryWriter& writer,
                             std::vector<FollowedFault> followed,
                             host::OpenFaults& cache, const Now& now) :
    writer(writer),
    cache(cache)
{
    for (FollowedFault& fault : followed)
    {
        const Fault& known = fault.appeared.fault;
        if (open.contains({known.entry, known.user}))
        {
            // Nobody would ever end it, and its record would stay for good.
            writer.forget(fault);
            continue;
        }
        // Whatever the data cache does not have now has ended.
        Key key = keyOf(fault.appeared.fault);
        insert(std::move(key),
               {.fault = std::move(fault), .since = {}, .missing = true});
    }
    compareWithCache(now, true);
}

const Record* FaultFollower::find(const std::string& entry) const
{
    const auto found = open.lower_bound({entry, 0});
    return found == open.end() || found->first.first != entry
               ? nullptr
               : &found->second.fault.appeared;
}

/** The process that has sent a signal about a component: the one with the
 *  sender's id, although another process of its user may have taken the node
 *  over meanwhile; else one of its user that has the node.
 *
 *  @return null when the sender's user does not have the node */
const host::Reporter*
FaultFollower::findReporter(const Sender& sender,
                            const std::string& component) const
{
    const host::Reporter* holder = nullptr;
    const host::Reporter* sending = nullptr;
    for (const auto& [inode, reporter] : cache.reporters())
    {
        if (reporter.user != sender.user)
        {
            continue;
        }
        const bool holds = reporter.nodes.contains(component);
        holder = holds ? &reporter : holder;
        if (reporter.process.pid == sender.pid && (holds || sending == nullptr))
        {
            sending = &reporter;
        }
    }
    return holder != nullptr && sending != nullptr ? sending : holder;
}

void FaultFollower::takeAdded(const Sender& sender, Fault fault, const Now& now)
{
    if (open.contains({fault.entry, sender.user}))
    {
        return;
    }
    fault.component = services::getComponent(fault.entry);
    const host::Reporter* reporter = findReporter(sender, fault.component);
    if (reporter == nullptr || reporter->process.pid != sender.pid)
    {
        // The process or its node may be younger than the last comparison. In
        // a container the process has another id.
        cache.refresh();
        reporter = findReporter(sender, fault.component);
    }
    if (reporter != nullptr)
    {
        // A sender that has ended left neither itself nor the fault. Another
        // process that has the component now is not the one that reported it.
        const bool isSender = reporter->process.pid == sender.pid ||
                              sender.pid == 0 ||
                              reporter->faults.contains(fault.entry);
        fault.process = isSender ? reporter->name : "";
        fault.pid = isSender ? reporter->process.pid : sender.pid;
        fault.user = reporter->user;
        appear(begin(*reporter, std::move(fault), now.wall, false), now.steady);
    }
}

bool FaultFollower::admits(uint32_t user)
{
    const bool admitted = ofUser[user] < mostOfUser && writer.mayFollow(user);
    if (!admitted && tooManyLines.admits())
    {
        SERVICE_LOG(log::warning,
                    "%s.%d.%s: user %u has more faults than the history "
                    "follows: the rest is not recorded",
                    user);
    }
    return admitted;
}

void FaultFollower::appear(FollowedFault fault,
                           std::optional<nanoseconds> since)
{
    const Fault& known = fault.appeared.fault;
    if (keepsWhole(known.entry) && admits(known.user))
    {
        // The writer may cut the texts, by which it would not be found again.
        Key key = keyOf(fault.appeared.fault);
        writer.addAppearance(fault);
        insert(std::move(key),
               {.fault = std::move(fault), .since = since, .missing = false});
    }
}

void FaultFollower::insert(Key key, Open fault)
{
    const auto [at, inserted] = open.emplace(std::move(key), std::move(fault));
    if (inserted)
    {
        const Fault& known = at->second.fault.appeared.fault;
        ++ofUser[known.user];
        ++ofComponent[groupOf(known)];
    }
}

void FaultFollower::takeRemoved(const Sender& sender, const std::string& entry,
                                const Now& now)
{
    const auto found = open.find({entry, sender.user});
    if (found != open.end())
    {
        if (removed.size() < mostOfUser)
        {
            removed.insert(found->first);
        }
        end(found, kindOfRemoval(found->second.fault), now, false);
    }
}

/** Why a fault was removed by its process. */
Kind FaultFollower::kindOfRemoval(const FollowedFault& followed) const
{
    const Fault& fault = followed.appeared.fault;
    if (isMonitorLost(fault))
    {
        return isWatchedAgain(fault) ? Kind::monitorBack : Kind::cleared;
    }
    // A component has more faults than its limit only from the announcement of
    // one too many on, until it removes the least important one.
    const bool tooMany =
        ofComponent.at(groupOf(fault)) > FaultAndHealth::maxFaults;
    return tooMany ? Kind::gaveWay : Kind::cleared;
}

/** Whether a daemon has the component of a lost monitor. */
bool FaultFollower::isWatchedAgain(const Fault& fault) const
{
    cache.refresh();
    return std::ranges::any_of(cache.reporters(), [&fault](const auto& each) {
        const host::Reporter& reporter = each.second;
        return !reporter.isPlaceholder &&
               reporter.nodes.contains(fault.component);
    });
}

/** Why a fault is not in the data cache any more. */
Kind FaultFollower::kindOfEnd(const FollowedFault& followed) const
{
    const Fault& fault = followed.appeared.fault;
    const host::ProcessIdentity process{.pid = fault.pid,
                                        .startTime = followed.processStart};
    const bool lives =
        std::ranges::any_of(cache.reporters(), [&process](const auto& each) {
            return each.second.process == process;
        });
    return lives ? kindOfRemoval(followed) : Kind::withdrawn;
}

FaultFollower::OpenFaults::iterator
FaultFollower::end(OpenFaults::iterator fault, Kind kind, const Now& now,
                   bool missed)
{
    const auto& [followed, since, missing, seen] = fault->second;
    Record record = followed.appeared;
    record.kind = kind;
    record.time = now.wall;
    record.missed = missed;
    record.lasted = since ? toMilliseconds(now.steady - *since)
                          : now.wall - followed.appeared.time;
    record.lasted = std::max(*record.lasted, int64_t{0});
    --ofUser[record.fault.user];
    if (--ofComponent.at(groupOf(record.fault)) == 0)
    {
        ofComponent.erase(groupOf(record.fault));
    }
    writer.forget(followed);
    writer.add(std::move(record));
    return open.erase(fault);
}

void FaultFollower::compare(const Now& now)
{
    if (cache.refresh() == 0)
    {
        compareWithCache(now, false);
    }
}

void FaultFollower::compareWithCache(const Now& now, bool missed)
{
    for (auto& [key, fault] : open)
    {
        fault.seen = false;
    }
    for (const auto& [inode, reporter] : cache.reporters())
    {
        for (const auto& [entry, fault] : reporter.faults)
        {
            compareFault(reporter, entry, fault, now, missed);
        }
    }
    for (auto each = open.begin(); each != open.end();)
    {
        Open& fault = each->second;
        const bool ended = !fault.seen && fault.missing;
        fault.missing = !fault.seen;
        each = ended ? end(each, kindOfEnd(fault.fault), now, missed)
                     : std::next(each);
    }
    removed.clear();
}

void FaultFollower::compareFault(const host::Reporter& reporter,
                                 const std::string& entry,
                                 const host::OpenFault& found, const Now& now,
                                 bool missed)
{
    auto at = open.find({entry, reporter.user});
    if (at != open.end() && isOfEarlierProcess(at->second.fault, reporter))
    {
        end(at, Kind::withdrawn, now, missed);
        at = open.end();
    }
    if (at == open.end() && !removed.contains({entry, reporter.user}))
    {
        const int64_t age = toMilliseconds(now.steady - found.made);
        appear(begin(reporter, makeFault(reporter, entry, found.properties),
                     now.wall - age, missed),
               found.made);
        at = open.find({entry, reporter.user});
    }
    if (at != open.end())
    {
        at->second.seen = true;
        at->second.since = at->second.since.value_or(found.made);
        noteHidden(at->second, found.properties.hidden, now, missed);
    }
}

void FaultFollower::noteHidden(Open& fault, bool hidden, const Now& now,
                               bool missed)
{
    if (fault.fault.hidden == hidden)
    {
        return;
    }
    fault.fault.hidden = hidden;
    Record record = fault.fault.appeared;
    record.kind = hidden ? Kind::hidden : Kind::shown;
    record.time = now.wall;
    record.missed = missed;
    writer.follow(fault.fault);
    writer.add(std::move(record));
}

} // namespace healthintf::history
