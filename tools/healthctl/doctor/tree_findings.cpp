#include "tree_findings.hpp"

#include "../model/component.hpp"

#include <com/vexa/olvar/healthmgr/names.hpp>

#include <map>
#include <set>

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

} // namespace

Findings deadOwners(const std::vector<NodeState>& nodes)
{
    std::map<uint32_t, std::vector<std::string>> dead;
    for (const NodeState& node : nodes)
    {
        if (!node.alive)
        {
            dead[node.pid].push_back(node.key);
        }
    }
    Findings findings;
    for (const auto& [pid, keys] : dead)
    {
        findings.push_back(
            {.check = "tree.owners",
             .grade = Grade::problem,
             .text = "process " + std::to_string(pid) +
                     " is gone and left behind " + listed(keys),
             .remedy = "start healthmgr, which removes what dead processes "
                       "left"});
    }
    if (findings.empty())
    {
        findings.push_back({.check = "tree.owners",
                            .grade = Grade::ok,
                            .text = "the owners of all " +
                                    std::to_string(nodes.size()) +
                                    " nodes live",
                            .remedy = ""});
    }
    return findings;
}

Findings missingParents(const std::vector<NodeState>& nodes)
{
    std::set<std::string> keys;
    for (const NodeState& node : nodes)
    {
        keys.insert(node.key);
    }
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

} // namespace healthintf::healthctl
