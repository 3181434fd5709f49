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

/** The first ten of some things, and how many more there are.
 *
 *  @param[in] count how many there are */
std::string listFirst(const std::vector<std::string>& things, std::size_t count)
{
    constexpr std::size_t most = 10;
    const std::size_t named = std::min(things.size(), most);
    std::string text;
    for (std::size_t i = 0; i < named; ++i)
    {
        text += (i == 0 ? "" : "; ") + things[i];
    }
    return count > named
               ? text + "; and " + std::to_string(count - named) + " more"
               : text;
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
    std::vector<std::string> outside;
    for (const std::string& key : keys)
    {
        if (!isAtOrBelow(key, names::root))
        {
            outside.push_back(key);
        }
        else if (key != names::root && !keys.contains(getParent(key)))
        {
            missing[getParent(key)].push_back(key);
        }
    }
    Findings findings;
    if (!outside.empty())
    {
        const std::string root = names::root;
        findings.push_back(
            {.check = "tree.parents",
             .grade = Grade::problem,
             .text = "nobody hears of what is not below " + root + ": " +
                     listed(outside),
             .remedy = "let the daemons use keys below " + root});
    }
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

Finding lostMonitors(const std::vector<LostComponent>& components)
{
    if (components.empty())
    {
        return {.check = "tree.monitors",
                .grade = Grade::ok,
                .text = "no component has the fault of a lost monitor",
                .remedy = ""};
    }
    std::vector<std::string> named;
    named.reserve(components.size());
    for (const LostComponent& component : components)
    {
        named.push_back(component.key + ", since " + component.process +
                        " ended");
    }
    const bool one = components.size() == 1;
    return {.check = "tree.monitors",
            .grade = Grade::warning,
            .text = "nobody watches " + std::to_string(components.size()) +
                    (one ? " component: " : " components: ") +
                    listFirst(named, named.size()),
            .remedy = std::string("start ") +
                      (one ? "its daemon" : "their daemons") +
                      " again, or \"healthctl dismiss\" where nothing is to "
                      "watch"};
}

namespace
{

constexpr const char* holdersCheck = "tree.holders";

/** Lists processes, and how many nodes they have if that is @p known. */
std::string listHolders(const std::vector<SilentHolder>& holders, bool known)
{
    std::vector<std::string> named;
    for (const SilentHolder& holder : holders)
    {
        named.push_back(holder.process);
        if (known)
        {
            named.back() += " with " + std::to_string(holder.nodes) +
                            (holder.nodes == 1 ? " node" : " nodes");
        }
    }
    return listFirst(named, named.size());
}

std::string tellUnasked(const HolderStates& holders)
{
    return holders.complete ? "" : "; there are too many to ask all";
}

Finding findSilent(const HolderStates& holders)
{
    const auto& silent = holders.silent;
    const bool one = silent.size() == 1;
    const std::string doubt =
        holders.known
            ? std::string("the health of ") + (one ? "its" : "their") +
                  " nodes may be an old one"
            : std::string("whether ") + (one ? "it has" : "they have") +
                  " nodes is not known";
    return {.check = holdersCheck,
            .grade = holders.known ? Grade::problem : Grade::warning,
            .text = std::to_string(silent.size()) +
                    (one ? " process does" : " processes do") +
                    " not answer, and " + doubt + ": " +
                    listHolders(silent, holders.known) + tellUnasked(holders),
            .remedy = one ? "see whether it is stopped, or restart it"
                          : "see whether they are stopped, or restart them"};
}

Finding findAbsent(const std::vector<SilentHolder>& absent)
{
    const bool one = absent.size() == 1;
    return {.check = holdersCheck,
            .grade = Grade::problem,
            .text =
                std::to_string(absent.size()) +
                (one ? " process with nodes is" : " processes with nodes are") +
                " not on the bus, and the health of " +
                (one ? "its" : "their") +
                " nodes may be an old one: " + listHolders(absent, true),
            .remedy = one ? "restart it: it may keep a lost connection"
                          : "restart them: they may keep lost connections"};
}

} // namespace

Findings makeFindings(const HolderStates& holders)
{
    Findings findings;
    if (!holders.silent.empty())
    {
        findings.push_back(findSilent(holders));
    }
    if (!holders.absent.empty())
    {
        findings.push_back(findAbsent(holders.absent));
    }
    if (findings.empty())
    {
        findings.push_back(
            {.check = holdersCheck,
             .grade = Grade::ok,
             .text = (holders.known ? "the processes with nodes answer"
                                    : "all processes on the bus answer") +
                     tellUnasked(holders),
             .remedy = ""});
    }
    return findings;
}

Finding sharedKeys(const std::vector<SharedKey>& keys, std::size_t count)
{
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
    std::vector<std::string> named;
    named.reserve(keys.size());
    for (const SharedKey& key : keys)
    {
        named.push_back(inWords(key));
    }
    text += listFirst(named, count);
    return {.check = "tree.claims",
            .grade = Grade::warning,
            .text = text,
            .remedy = "let one process have each key: end the others, or "
                      "give them other keys"};
}

} // namespace healthintf::healthctl
