// SPDX-License-Identifier: Apache-2.0
#include "tree_findings.hpp"

#include "../model/component.hpp"

#include <com/vexa/olvar/healthmgr/names.hpp>

#include <algorithm>
#include <map>

namespace healthintf::healthctl
{
namespace
{

/** A first one and how many more. */
std::string listed(const std::vector<std::string>& names)
{
    return names.size() == 1 ? names.front()
                             : names.front() + " and " +
                                   std::to_string(names.size() - 1) + " more";
}

/** A key and its holders, as "KEY by A and B". */
std::string inWords(const SharedKey& key)
{
    std::string text = key.key;
    const char* before = " by ";
    for (const std::string& holder : key.holders)
    {
        text += before + holder;
        before = " and ";
    }
    return text;
}

} // namespace

Findings missingParents(const std::set<std::string>& keys)
{
    std::map<std::string, std::vector<std::string>> missing;
    for (const std::string& key : keys)
    {
        if (key != names::root && !keys.contains(parentOf(key)))
        {
            missing[parentOf(key)].push_back(key);
        }
    }
    Findings findings;
    for (const auto& [parent, children] : missing)
    {
        findings.push_back({.check = "tree.parents",
                            .grade = Grade::problem,
                            .text = "there is no node " + parent +
                                    ", so that nobody hears of " +
                                    listed(children),
                            .remedy = "start healthmgr, which makes missing "
                                      "parents"});
    }
    if (findings.empty())
    {
        findings.push_back({.check = "tree.parents",
                            .grade = Grade::ok,
                            .text = "every node has its parent",
                            .remedy = ""});
    }
    return findings;
}

Finding sharedKeys(const std::vector<SharedKey>& keys, std::size_t count)
{
    constexpr std::size_t mostNamed = 10;
    if (keys.empty())
    {
        return {.check = "tree.claims",
                .grade = Grade::ok,
                .text = "no key is held by two processes",
                .remedy = ""};
    }
    const bool twoEach = std::ranges::all_of(keys, [](const SharedKey& key) {
        return key.holders.size() == 2;
    });
    std::string text = std::to_string(count) +
                       (count == 1 ? " key is" : " keys are") + " held by " +
                       (twoEach ? "two" : "several") + " processes: ";
    const std::size_t named = std::min(keys.size(), mostNamed);
    for (std::size_t i = 0; i < named; ++i)
    {
        text += (i == 0 ? "" : "; ") + inWords(keys[i]);
    }
    if (count > named)
    {
        text += "; and " + std::to_string(count - named) + " more";
    }
    return {.check = "tree.claims",
            .grade = Grade::warning,
            .text = text,
            .remedy = "let one process have each key: end the others, or "
                      "give them other keys"};
}

} // namespace healthintf::healthctl
