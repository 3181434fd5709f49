// SPDX-License-Identifier: Apache-2.0
#include "match_findings.hpp"

#include <algorithm>

namespace healthintf::healthctl
{
namespace
{

/** The connection with most match rules. */
const MatchUse& busiest(const std::vector<MatchUse>& uses)
{
    return *std::ranges::max_element(uses, {}, &MatchUse::rules);
}

/** The user who has left least of what the bus allows. */
const MatchQuota& nearest(const MatchQuotas& quotas)
{
    return *std::ranges::max_element(quotas, {}, [](const MatchQuota& quota) {
        return static_cast<double>(quota.rules) / std::max(quota.most, 1U);
    });
}

constexpr const char* moreRules =
    "raise max_match_rules_per_connection in the bus's configuration";

} // namespace

std::optional<uint32_t> rulesToTry(const MatchUses& uses)
{
    // So many that isNear() does not hold when the bus allows them all.
    constexpr uint32_t most = 20'000;
    const uint32_t rules = uses ? busiest(*uses).rules : 0;
    return uses && rules < most ? std::optional(rules + rules / 4 + 2)
                                : std::nullopt;
}

Finding makeFinding(const MatchUses& uses,
                    const std::optional<MatchLimit>& limit)
{
    Finding finding{.check = "limits.match-rules",
                    .grade = Grade::ok,
                    .text = "",
                    .remedy = ""};
    if (!uses)
    {
        finding.text = "the bus does not tell this user of match rules";
        return finding;
    }
    const MatchUse& most = busiest(*uses);
    finding.text = "at most " + std::to_string(most.rules) +
                   " match rules on one connection, that of " + most.owner;
    if (limit)
    {
        finding.text +=
            limit->isLimit ? "; the bus allows " : "; the bus allows at least ";
        finding.text += std::to_string(limit->made);
    }
    if (limit && limit->isLimit && isNear(most.rules, limit->made))
    {
        finding.grade = Grade::warning;
        finding.remedy = moreRules;
    }
    return finding;
}

Finding makeFinding(const MatchQuotas& quotas)
{
    const MatchQuota& most = nearest(quotas);
    const bool near = isNear(most.rules, most.most);
    return {.check = "limits.match-rules",
            .grade = near ? Grade::warning : Grade::ok,
            .text = "all connections of the user " + most.user + " have " +
                    std::to_string(most.rules) +
                    " match rules together; the bus allows " +
                    std::to_string(most.most),
            .remedy = near ? moreRules : ""};
}

} // namespace healthintf::healthctl
