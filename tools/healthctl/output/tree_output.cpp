// SPDX-License-Identifier: Apache-2.0
#include "tree_output.hpp"

#include "fault_output.hpp"
#include "table.hpp"
#include "text.hpp"

#include <hmi_health_value.hpp>

#include <nlohmann/json.hpp>

#include <algorithm>
#include <string>
#include <utility>

namespace healthintf::healthctl
{
namespace
{

/** Where a health that tells of trouble comes from, in a word. */
std::string originWord(const TreeNode& of)
{
    const uint32_t health = of.node.health;
    if (health == health_namespace::healthNone ||
        health == health_namespace::healthOk)
    {
        return "";
    }
    const bool own = of.origin.faults || of.origin.base;
    if (own && of.origin.children)
    {
        return "both";
    }
    return own ? "own" : of.origin.children ? "inherited" : "";
}

std::size_t countAcknowledged(const Faults& faults)
{
    return static_cast<std::size_t>(
        std::ranges::count_if(faults, [](const Fault& fault) {
            return fault.acknowledgement.has_value();
        }));
}

std::string faultsInWords(const TreeNode& node)
{
    std::string words;
    if (node.visible() > 0)
    {
        words = std::to_string(node.visible()) +
                (node.visible() == 1 ? " fault" : " faults");
    }
    if (node.hidden() > 0)
    {
        words += (words.empty() ? "" : ", ") + std::to_string(node.hidden()) +
                 " hidden";
    }
    if (const std::size_t count = countAcknowledged(node.faults); count > 0)
    {
        words += ", " + std::to_string(count) + " acknowledged";
    }
    return words;
}

/** What is wrong with a node itself, in words. */
std::string trouble(const TreeNode& node)
{
    return node.node.silent     ? "does not answer"
           : node.parentMissing ? "no parent"
                                : "";
}

/** Draws into a table, which knows then how wide the columns must be. */
class Drawing
{
  public:
    Drawing(const Style& style, const TreeView& view) : style(style), view(view)
    {}

    /** @param[in] first what the node's line begins with
     *  @param[in] rest what all lines below begin with */
    void add(const TreeNode& node, const std::string& first,
             const std::string& rest, std::size_t depth)
    {
        addRow(node, first, depth == 0);
        const bool open = !view.depth || depth < *view.depth;
        const bool more = open && !node.children.empty();
        if (view.faults)
        {
            for (const Fault& fault : node.faults)
            {
                addFault(fault, rest + (more ? style.glyphs().passing
                                             : style.glyphs().nothing));
            }
        }
        for (std::size_t i = 0; more && i < node.children.size(); ++i)
        {
            const bool last = i + 1 == node.children.size();
            const Glyphs& signs = style.glyphs();
            add(node.children[i],
                rest + (last ? signs.lastBranch : signs.branch),
                rest + (last ? signs.nothing : signs.passing), depth + 1);
        }
    }

    void print(const Context& context) const
    {
        table.print(context.out, context.style, context.width);
    }

  private:
    void addRow(const TreeNode& node, const std::string& first, bool top)
    {
        const std::string name =
            top ? node.key : node.key.substr(node.key.rfind('/') + 1);
        const uint32_t health = node.node.health;
        const Tone tone = node.recorded ? healthTone(health) : Tone::unknown;
        const std::string word =
            node.recorded ? health_namespace::healthWord(health) : "no node";
        table.addRow({{name, Tone::plain, first},
                      {word, tone},
                      {originWord(node), tone},
                      faultsInWords(node),
                      {trouble(node), Tone::unknown},
                      {node.node.holder, Tone::faint}});
    }

    void addFault(const Fault& fault, const std::string& indent)
    {
        const bool hidden = fault.record.hidden();
        const std::string marks = marksInWords(fault);
        const std::string bullet = std::string(style.glyphs().bullet) + " ";
        table.addText(
            indent + bullet, indent + std::string(countColumns(bullet), ' '),
            fault.record.message() + (marks.empty() ? "" : " (" + marks + ")"),
            hidden ? Tone::faint : healthTone(fault.record.severity()));
        if (const std::string who = acknowledgementInWords(fault); !who.empty())
        {
            const std::string lead =
                indent + std::string(countColumns(bullet), ' ');
            table.addText(lead, lead, who, Tone::faint);
        }
    }

    static constexpr std::size_t nameColumn = 0;
    static constexpr std::size_t holderColumn = 5;

    const Style& style;
    const TreeView& view;
    Table table{{{holderColumn, 12},
                 {nameColumn, 24},
                 {holderColumn, 6},
                 {nameColumn, 12}}};
};

nlohmann::ordered_json originJson(const Origin& origin)
{
    auto from = nlohmann::ordered_json::array();
    for (const auto& [is, word] : {std::pair(origin.faults, "faults"),
                                   std::pair(origin.children, "children"),
                                   std::pair(origin.base, "base")})
    {
        if (is)
        {
            from.push_back(word);
        }
    }
    return from;
}

nlohmann::ordered_json jsonAt(const TreeNode& node, const TreeView& view,
                              std::size_t depth)
{
    nlohmann::ordered_json json{
        {"key", node.key},
        {"health", node.recorded
                       ? nlohmann::ordered_json(
                             health_namespace::healthWord(node.node.health))
                       : nlohmann::ordered_json(nullptr)},
        {"origin", originJson(node.origin)},
        {"visibleFaults", node.visible()},
        {"hiddenFaults", node.hidden()},
        {"holder", node.node.holder},
        {"parentMissing", node.parentMissing}};
    if (view.faults)
    {
        json["faults"] = toJson(node.faults);
    }
    auto children = nlohmann::ordered_json::array();
    const bool open = !view.depth || depth < *view.depth;
    for (std::size_t i = 0; open && i < node.children.size(); ++i)
    {
        children.push_back(jsonAt(node.children[i], view, depth + 1));
    }
    json["children"] = std::move(children);
    return json;
}

} // namespace

nlohmann::ordered_json toJson(const TreeNode& node, const TreeView& view)
{
    return jsonAt(node, view, 0);
}

void printTrees(const Context& context,
                const std::vector<const TreeNode*>& trees, const TreeView& view)
{
    Drawing drawing(context.style, view);
    for (const TreeNode* tree : trees)
    {
        drawing.add(*tree, "", "", 0);
    }
    drawing.print(context);
}

} // namespace healthintf::healthctl
