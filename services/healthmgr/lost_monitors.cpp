// SPDX-License-Identifier: Apache-2.0
#include "lost_monitors.hpp"

#include "../common/service_log.hpp"
#include "line_limit.hpp"
#include "node_key.hpp"

#include <hmi_health_value.hpp>

#include <algorithm>
#include <functional>
#include <map>
#include <set>
#include <utility>

namespace healthintf::healthmgr
{

namespace fs = std::filesystem;
namespace log = services::log;

namespace
{

/** Logs that processes ended without giving these components up. */
void logLost(const std::vector<host::LeftNode>& nodes)
{
    // Whoever may write to the data cache may let processes end all the time.
    static constinit host::LineLimit lines;
    std::map<uint32_t, std::vector<const host::LeftNode*>> byProcess;
    for (const host::LeftNode& node : nodes)
    {
        byProcess[node.owner.pid].push_back(&node);
    }
    for (const auto& [pid, left] : byProcess)
    {
        const std::size_t more = left.size() - 1;
        const std::string others =
            more == 0 ? "" : " and " + std::to_string(more) + " more";
        if (lines.admits())
        {
            SERVICE_LOG(log::warning,
                        "%s.%d.%s: process %d (%s) ended without giving up "
                        "what it watched: %s%s",
                        static_cast<int>(pid), left.front()->process.c_str(),
                        left.front()->key.c_str(), others.c_str());
        }
    }
}

} // namespace

LostMonitors::LostMonitors(fs::path path, Config ownConfig) :
    file(std::move(path), "the lost monitors"), config(std::move(ownConfig)),
    monitors(file.read(parseLostMonitors))
{
    const auto erased = std::erase_if(monitors, [this](const auto& each) {
        return !explainInvalidKey(each.first).empty() ||
               !config.reportsLostMonitorOf(each.first);
    });
    if (erased > 0)
    {
        file.noteChange();
    }
}

std::set<std::string> LostMonitors::add(std::vector<host::LeftNode> nodes)
{
    std::erase_if(nodes, [this](const host::LeftNode& node) {
        // The nodes of an earlier healthmgr are placeholders: what it knew is
        // in the file.
        return node.isPlaceholder || !explainInvalidKey(node.key).empty() ||
               !config.reportsLostMonitorOf(node.key);
    });
    std::ranges::stable_sort(nodes, std::greater(), &host::LeftNode::worst);
    std::set<std::string> added;
    std::vector<host::LeftNode> lost;
    std::size_t left = 0;
    for (const host::LeftNode& node : nodes)
    {
        if (!monitors.contains(node.key) && !hasRoom(node.user))
        {
            ++left;
            continue;
        }
        // Of several that had the component, the one with the worst fault.
        if (!added.insert(node.key).second)
        {
            continue;
        }
        monitors.insert_or_assign(
            node.key,
            LostMonitor{.process = node.process,
                        .pid = node.owner.pid,
                        .user = node.user,
                        .faults = node.faults,
                        .worst = std::min<uint32_t>(
                            node.worst, health_namespace::healthCritical)});
        lost.push_back(node);
    }
    logLost(lost);
    if (left > 0)
    {
        SERVICE_LOG(log::error,
                    "%s.%d.%s: %zu more components have lost their monitors "
                    "than are remembered",
                    left);
    }
    if (!added.empty())
    {
        file.noteChange();
    }
    return added;
}

bool LostMonitors::hasRoom(uint32_t user) const
{
    const auto ofUser = std::ranges::count_if(monitors, [user](auto& each) {
        return each.second.user == user;
    });
    return monitors.size() < most &&
           static_cast<std::size_t>(ofUser) < mostOfOneUser;
}

bool LostMonitors::remove(const std::string& key)
{
    const bool removed = monitors.erase(key) > 0;
    if (removed)
    {
        file.noteChange();
    }
    return removed;
}

const LostMonitor* LostMonitors::find(const std::string& key) const
{
    const auto found = monitors.find(key);
    return found == monitors.end() ? nullptr : &found->second;
}

void LostMonitors::save()
{
    file.save([this] {
        return formatLostMonitors(monitors);
    });
}

} // namespace healthintf::healthmgr
