// SPDX-License-Identifier: Apache-2.0
#include "report_comparison.hpp"

#include <algorithm>
#include <utility>

namespace healthintf::healthmgr
{
namespace
{

/** The number of equal comparisons after which a node's recorded health is
 *  sent. */
constexpr std::size_t reportingAfter = 2;

} // namespace

std::vector<std::string>
ReportComparison::compare(const ReportedHealth::Healths& reports,
                          const ReportedHealth::Healths& records)
{
    std::vector<std::string> untrue;
    std::map<std::string, Difference> now;
    for (const auto& [key, reported] : reports)
    {
        const uint32_t recorded = records.at(key);
        const auto before = differing.find(key);
        const bool isSame = before != differing.end() &&
                            before->second.reported == reported &&
                            before->second.recorded == recorded;
        const std::size_t times =
            isSame ? std::min(before->second.times + 1, reportingAfter + 1) : 1;
        if (times == reportingAfter)
        {
            untrue.push_back(key);
        }
        now.emplace_hint(now.end(), key,
                         Difference{.reported = reported,
                                    .recorded = recorded,
                                    .times = times});
    }
    differing = std::move(now);
    return untrue;
}

void ReportComparison::noteUpdate(const std::string& key)
{
    const auto found = differing.find(key);
    // Not before the correction: there may be updates all the time.
    if (found != differing.end() && found->second.times >= reportingAfter)
    {
        differing.erase(found);
    }
}

} // namespace healthintf::healthmgr
