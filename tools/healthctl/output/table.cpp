// SPDX-License-Identifier: Apache-2.0
#include "table.hpp"

#include "text.hpp"

#include <algorithm>
#include <numeric>

#include <printable.hpp>

namespace healthintf::healthctl
{
namespace
{

constexpr std::size_t gap = 2;

std::size_t getWidth(const Cell& cell)
{
    return countColumns(cell.lead) + countColumns(cell.text);
}

/** What stands in front in less room than it wants; the blank that parts it
 *  from the text stays. */
std::string cutLead(const std::string& lead, std::size_t columns)
{
    if (countColumns(lead) <= columns || columns == 0)
    {
        return columns == 0 ? "" : lead;
    }
    return columns > 1 && lead.ends_with(' ')
               ? beginning(lead, columns - 1) + " "
               : beginning(lead, columns);
}

/** Shortens a cell to the width of its column and to the rest of the line. */
Cell fitted(const Cell& cell, std::size_t width, std::size_t room,
            const Style& style)
{
    // The lead leaves room for some of the text.
    constexpr std::size_t least = 8;
    const std::size_t kept =
        std::min({countColumns(cell.text), room / 2, least});
    Cell result(cell.text, cell.tone, cutLead(cell.lead, room - kept));
    const std::size_t lead = countColumns(result.lead);
    const std::size_t inColumn =
        std::max(std::min(width, room), std::min(room, lead + 1)) - lead;
    result.text =
        shortened(cell.text, std::max(inColumn, kept), style.glyphs().ellipsis);
    return result;
}

} // namespace

Table::Table(std::vector<ShrinkingColumn> shrinking) :
    shrinking(std::move(shrinking))
{}

void Table::addRow(std::vector<Cell> cells)
{
    for (Cell& cell : cells)
    {
        cell.text = host::printable(cell.text);
    }
    lines.emplace_back(std::move(cells));
}

void Table::addText(const std::string& first, const std::string& rest,
                    const std::string& text, Tone tone, Tone leadTone)
{
    lines.emplace_back(
        Text{first, rest, host::printable(text), tone, leadTone, true});
}

void Table::addLine(const std::string& lead, const std::string& text, Tone tone)
{
    lines.emplace_back(
        Text{lead, lead, host::printable(text), tone, Tone::faint, false});
}

void Table::print(std::ostream& out, const Style& style,
                  std::optional<std::size_t> width) const
{
    const Widths all = widths(width);
    for (const auto& line : lines)
    {
        if (const auto* row = std::get_if<Row>(&line))
        {
            printRow(out, style, *row, all, width);
        }
        else
        {
            printText(out, style, std::get<Text>(line), width);
        }
    }
}

Table::Widths Table::widths(std::optional<std::size_t> width) const
{
    Widths all;
    for (const auto& line : lines)
    {
        if (const auto* row = std::get_if<Row>(&line))
        {
            all.resize(std::max(all.size(), row->size()));
            for (std::size_t i = 0; i < row->size(); ++i)
            {
                all[i] = std::max(all[i], getWidth((*row)[i]));
            }
        }
    }
    const auto filled = static_cast<std::size_t>(
        std::ranges::count_if(all, [](std::size_t each) {
            return each > 0;
        }));
    std::size_t sum = std::accumulate(all.begin(), all.end(),
                                      filled > 0 ? (filled - 1) * gap : 0);
    for (const auto& [column, least] : shrinking)
    {
        if (width && sum > *width && all.size() > column && all[column] > least)
        {
            const std::size_t less =
                std::min(sum - *width, all[column] - least);
            all[column] -= less;
            sum -= less;
        }
    }
    return all;
}

void Table::printRow(std::ostream& out, const Style& style, const Row& row,
                     const Widths& widths, std::optional<std::size_t> width)
{
    // Blanks at the end of a line are not written.
    std::size_t blanks = 0;
    std::size_t used = 0;
    for (std::size_t i = 0; i < row.size(); ++i)
    {
        const Cell& cell = row[i];
        // A row that is still too wide ends at the edge of the terminal.
        const std::size_t room =
            width ? *width - std::min(*width, used + blanks) : widths[i];
        if (used > 0 && room < getWidth(cell) &&
            room <= countColumns(cell.lead))
        {
            break;
        }
        const Cell shown = fitted(cell, widths[i], room, style);
        const std::size_t taken = getWidth(shown);
        if (taken > 0)
        {
            used += blanks + taken;
            out << std::string(blanks, ' ')
                << style.paint(shown.lead, Tone::faint)
                << style.paint(shown.text, shown.tone);
            blanks = 0;
        }
        // A column that is empty in all rows takes no room.
        if (widths[i] > 0)
        {
            blanks += std::max(widths[i], taken) - taken + gap;
        }
    }
    out << '\n';
}

void Table::printText(std::ostream& out, const Style& style, const Text& text,
                      std::optional<std::size_t> width)
{
    constexpr std::size_t least = 16;
    std::string first = text.first;
    std::string rest = text.rest;
    std::vector<std::string> all{text.text};
    if (width)
    {
        const std::size_t kept = std::clamp<std::size_t>(
            std::min(*width / 2, countColumns(text.text)), 1, least);
        const std::size_t forLead = *width - std::min(*width, kept);
        first = cutLead(first, forLead);
        rest = cutLead(rest, forLead);
        const std::size_t room = *width - countColumns(first);
        all = text.wraps ? wrapped(text.text, room)
                         : std::vector<std::string>{shortened(
                               text.text, room, style.glyphs().ellipsis)};
    }
    for (std::size_t i = 0; i < all.size(); ++i)
    {
        out << style.paint(i == 0 ? first : rest, text.leadTone)
            << style.paint(all[i], text.tone) << '\n';
    }
}

} // namespace healthintf::healthctl
