#include "withdrawal.hpp"

#include "../directories.hpp"
#include "data_cache.hpp"
#include "record_table.hpp"
#include "segment_folder.hpp"

#include <platform/data_abstraction/results.hpp>

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
    std::optional<HealthRecord> record;
    readHealthRecord(key, record);
    return record;
}

int readHealthRecord(const std::string& key,
                     std::optional<HealthRecord>& record)
{
    std::map<std::string, HealthRecord> found;
    const long result = readRecordsInto(
        found, RecordQuery::exactly(RecordKind::healthStatus, key),
        [](const ReadRecord& each, const ProcessIdentity& owner) {
            return HealthRecord{.owner = owner, .health = each.live};
        });
    record =
        found.empty() ? std::nullopt : std::optional(found.begin()->second);
    return result == DataAbstraction::readNoRecords ? 0
                                                    : static_cast<int>(result);
}

std::optional<std::vector<LeftNode>> Withdrawal::removeTheDead()
{
    std::vector<LeftNode> nodes;
    const int result = useCache([&] {
        const auto folder = dataCacheFolder();
        std::set<std::string> stillThere;
        for (const DeadSegment& dead : findDeadSegments(folder))
        {
            if (!removeSegment(folder, dead.name))
            {
                stillThere.insert(dead.name);
            }
            if (unremovable.contains(dead.name))
            {
                continue;
            }
            for (const std::string& key : dead.nodes)
            {
                nodes.push_back({.key = key, .owner = dead.owner});
            }
        }
        unremovable = std::move(stillThere);
        return 0;
    });
    return result == 0 ? std::optional(std::move(nodes)) : std::nullopt;
}

} // namespace healthintf::host
