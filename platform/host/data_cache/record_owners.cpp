// SPDX-License-Identifier: Apache-2.0
#include "record_owners.hpp"

#include "../directories.hpp"
#include "data_cache.hpp"
#include "record_table.hpp"

#include <platform/data_abstraction/results.hpp>

#include <set>
#include <utility>

namespace healthintf::host
{
namespace
{

using ClaimantsByKey = std::map<std::string, std::vector<Claimant>>;

/** Adds the owner of one segment to the claimants of its health records. */
void noteClaims(const SegmentReader& segment, ReadingBudget& budget,
                ClaimantsByKey& claims)
{
    // A made-up segment may contain a path twice.
    std::set<std::string> keys;
    segment.read(RecordQuery::below(RecordKind::healthStatus, {}), budget,
                 [&keys](const ReadRecord& record) {
                     keys.emplace(record.path);
                 });
    for (const std::string& key : keys)
    {
        auto& claimants = claims[key];
        if (claimants.size() < ClaimedKeys::mostClaimants)
        {
            claimants.push_back(
                {.process = segment.owner(), .user = segment.user()});
        }
    }
}

} // namespace

int listNodeOwners(RecordOwners& owners)
{
    owners.clear();
    const long result = readRecordsInto(
        owners, RecordQuery::below(RecordKind::healthStatus, {}),
        [](const ReadRecord&, const ProcessIdentity& owner) {
            return owner;
        });
    return result == DataAbstraction::readNoRecords ? 0
                                                    : static_cast<int>(result);
}

int listClaimedKeys(ClaimedKeys& claimed)
{
    claimed = {};
    return useCache([&claimed] {
        ClaimantsByKey claims;
        std::map<uid_t, ReadingBudget> budgets;
        forEachLivingSegment(
            dataCacheFolder(), [&](const SegmentReader& segment) {
                if (!segment.hasPlaceholders())
                {
                    noteClaims(segment, budgets[segment.user()], claims);
                }
            });
        for (auto& [key, claimants] : claims)
        {
            if (claimants.size() < 2)
            {
                continue;
            }
            ++claimed.count;
            if (claimed.keys.size() < ClaimedKeys::mostKeys)
            {
                claimed.keys.push_back(
                    {.key = key, .claimants = std::move(claimants)});
            }
        }
        return 0;
    });
}

} // namespace healthintf::host
