// SPDX-License-Identifier: Apache-2.0
#include "health_comparison.hpp"

#include <algorithm>
#include <utility>

namespace healthintf::healthmgr
{
namespace
{

/** The numbers of equal comparisons after which the children's health is sent
 *  to a node, the node is made again, the health is sent again, and nothing
 *  more is tried. Only the first of these is done for a daemon's node. */
constexpr std::size_t telling = 2;
constexpr std::size_t givingUpADaemons = 3;
constexpr std::size_t making = 4;
constexpr std::size_t tellingAgain = 5;
constexpr std::size_t givingUp = 6;

using Healths = HealthComparison::Healths;

std::string getParent(const std::string& key)
{
    return key.substr(0, key.rfind('/'));
}

/** The worst health among the children of each parent. */
Healths findWorstChildren(const Healths& records)
{
    Healths worst;
    for (const auto& [key, health] : records)
    {
        uint32_t& ofParent = worst[getParent(key)];
        ofParent = std::max(ofParent, health);
    }
    return worst;
}

/** Visits the nodes whose keys are the text and more characters, none of them a
 *  slash. */
void forEachBeside(const Healths& records, const std::string& text,
                   const std::function<void(const std::string&)>& visit)
{
    for (auto each = records.upper_bound(text);
         each != records.end() && each->first.starts_with(text); ++each)
    {
        if (each->first.find('/', text.size()) == std::string::npos)
        {
            visit(each->first);
        }
    }
}

/** Whether the key of a sibling begins with the key. */
bool hasStranger(const Healths& records, const std::string& key)
{
    bool found = false;
    forEachBeside(records, key, [&found](const std::string&) {
        found = true;
    });
    return found;
}

void tell(const Healths& records, const std::string& key,
          HealthComparison::Findings& findings)
{
    forEachBeside(records, key + "/", [&findings](const std::string& child) {
        findings.untold.push_back(child);
    });
    forEachBeside(records, key, [&](const std::string& stranger) {
        findings.strangers.emplace_back(key, stranger);
    });
}

} // namespace

void HealthComparison::noteUpdate(const std::string& key)
{
    const auto found = differing.find(key);
    // Not before the repair: other children may report all the time.
    if (found != differing.end() && !found->second.hosted &&
        found->second.times >= telling)
    {
        differing.erase(found);
    }
}

void HealthComparison::beginAnew()
{
    std::erase_if(differing, [](const auto& each) {
        return each.second.hosted;
    });
}

/** Finds the nodes that have lost their records since the last comparison, and
 *  stores the current nodes for the next one. */
std::vector<std::string> HealthComparison::takeGone(const Healths& records)
{
    std::vector<std::string> gone;
    for (const std::string& key : known)
    {
        if (!records.contains(key))
        {
            gone.push_back(key);
        }
    }
    known.clear();
    for (const auto& [key, health] : records)
    {
        known.insert(known.end(), key);
    }
    return gone;
}

HealthComparison::Findings HealthComparison::compare(
    const Healths& records,
    const std::function<bool(const std::string&)>& isHosted)
{
    Findings findings;
    findings.gone = takeGone(records);
    const Healths worst = findWorstChildren(records);
    std::map<std::string, Difference> now;
    for (const auto& [key, held] : records)
    {
        const auto found = worst.find(key);
        const uint32_t expected = found == worst.end() ? 0 : found->second;
        // A daemon's node may be worse than its children, by its own faults, or
        // because it took a sibling for its child.
        const bool hosted = isHosted(key);
        if (held == expected ||
            (held > expected && !hosted && !hasStranger(records, key)))
        {
            continue;
        }
        const std::size_t last = hosted ? givingUp : givingUpADaemons;
        const auto before = differing.find(key);
        const bool isSame =
            before != differing.end() && before->second.hosted == hosted &&
            before->second.held == held && before->second.expected == expected;
        const std::size_t times =
            isSame ? std::min(before->second.times + 1, last) : 1;
        now[key] = {.held = held,
                    .expected = expected,
                    .hosted = hosted,
                    .times = times};
        if (times == telling || times == tellingAgain)
        {
            tell(records, key, findings);
        }
        else if (times == making)
        {
            findings.stale.push_back(key);
        }
        findings.unsettled |= times < last;
    }
    differing = std::move(now);
    return findings;
}

} // namespace healthintf::healthmgr
