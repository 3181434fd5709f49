// SPDX-License-Identifier: Apache-2.0
#include "withdrawal.hpp"

#include "../directories.hpp"
#include "../printable.hpp"
#include "data_cache.hpp"
#include "record_table.hpp"
#include "segment_folder.hpp"

#include <map>
#include <utility>

namespace healthintf::host
{

void giveWayToOthers()
{
    makeOwnRecordsPlaceholders();
}

std::optional<HealthRecord> findHealthRecord(const std::string& key)
{
    std::map<std::string, HealthRecord> found;
    readRecordsInto(found, RecordQuery::exactly(RecordKind::healthStatus, key),
                    [](const ReadRecord& record, const ProcessIdentity& owner) {
                        return HealthRecord{.owner = owner,
                                            .health = record.live};
                    });
    return found.empty() ? std::nullopt : std::optional(found.begin()->second);
}

std::optional<std::vector<LeftNode>> Withdrawal::removeTheDead()
{
    std::vector<LeftNode> nodes;
    const int result = useCache([&] {
        const auto folder = dataCacheFolder();
        std::map<std::string, bool> stillThere;
        for (const DeadSegment& dead : findDeadSegments(folder))
        {
            const auto known = left.find(dead.name);
            const bool announced =
                dead.nodes.empty() || (known != left.end() && known->second);
            if (!announced || !removeSegment(folder, dead.name))
            {
                stillThere.emplace(dead.name, announced);
            }
            if (known != left.end())
            {
                continue;
            }
            for (const DeadNode& node : dead.nodes)
            {
                nodes.push_back({.key = node.path,
                                 .owner = dead.owner,
                                 .segment = dead.name,
                                 .process = printable(dead.process),
                                 .user = dead.user,
                                 .isPlaceholder = dead.isPlaceholder,
                                 .faults = node.faults,
                                 .worst = node.worst});
            }
        }
        left = std::move(stillThere);
        return 0;
    });
    return result == 0 ? std::optional(std::move(nodes)) : std::nullopt;
}

void Withdrawal::noteAnnounced(const std::vector<LeftNode>& nodes)
{
    for (const LeftNode& node : nodes)
    {
        if (const auto found = left.find(node.segment); found != left.end())
        {
            found->second = true;
        }
    }
}

} // namespace healthintf::host
