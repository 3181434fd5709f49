// SPDX-License-Identifier: Apache-2.0
#include "picture_output.hpp"

#include "../model/component.hpp"
#include "../output/duration_text.hpp"
#include "../output/line_output.hpp"
#include "../output/text.hpp"
#include "../output/time_text.hpp"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>
#include <iterator>
#include <ostream>
#include <string>
#include <vector>

#include <printable.hpp>

namespace healthintf::healthctl
{
namespace
{

using Json = nlohmann::ordered_json;

/** How a health is drawn. */
struct Brush
{
    SliceHealth health;
    const char* unicode;
    const char* ascii;
    /** In JSON and in the legend. */
    const char* word;
    Tone tone;
};

/** What each health looks like, in the order of the legend. They differ without
 *  colours, too. */
constexpr std::array brushes{
    Brush{SliceHealth::critical, "█", "#", "critical", Tone::critical},
    Brush{SliceHealth::warning, "▄", "+", "warning", Tone::warning},
    Brush{SliceHealth::unknown, "?", "?", "unknown", Tone::unknown},
    Brush{SliceHealth::ok, "·", ".", "OK", Tone::ok},
    Brush{SliceHealth::notRecorded, " ", " ", "not recorded", Tone::plain},
};

const Brush& brushFor(SliceHealth health)
{
    return *std::ranges::find(brushes, health, &Brush::health);
}

const char* glyphOf(const Brush& brush, const Style& style)
{
    return style.hasUnicode() ? brush.unicode : brush.ascii;
}

/** The slices in their colours, which change as seldom as possible. */
std::string draw(const std::vector<SliceHealth>& slices, const Style& style)
{
    // Blanks at the end of a line are not written.
    auto behind = slices.end();
    while (behind != slices.begin() &&
           *std::prev(behind) == SliceHealth::notRecorded)
    {
        --behind;
    }
    std::string drawn;
    for (auto at = slices.begin(); at != behind;)
    {
        const auto end = std::find_if(at, behind, [&](SliceHealth each) {
            return each != *at;
        });
        const Brush& brush = brushFor(*at);
        std::string run;
        for (; at != end; ++at)
        {
            run += glyphOf(brush, style);
        }
        drawn += style.paint(run, brush.tone);
    }
    return drawn;
}

std::string makeLegend(const TimeSlices& slices, const Style& style)
{
    std::string legend;
    for (const Brush& brush : brushes)
    {
        if (brush.health != SliceHealth::notRecorded)
        {
            legend +=
                std::string(glyphOf(brush, style)) + " " + brush.word + "  ";
        }
    }
    return legend + "blank: not recorded  a column is " +
           durationText(slices.length * millisecondsOfSecond);
}

std::size_t usedWidth(const Context& context)
{
    constexpr std::size_t usual = 80;
    // Programs get the same on a terminal as elsewhere.
    return context.json ? usual : context.width.value_or(usual);
}

/** The columns of components' names: a third of the line, so that the slices
 *  are the same whatever the names are. Very narrow lines have no names. */
std::size_t widthForNames(const Context& context)
{
    constexpr std::size_t least = 12;
    constexpr std::size_t most = 32;
    const std::size_t width = usedWidth(context);
    return width < least ? 0 : std::min(width / 3, most);
}

/** The blanks behind the names, if there are any. */
std::size_t blanksBehindNames(const Context& context)
{
    return widthForNames(context) == 0 ? 0 : 2;
}

/** A component's name in its columns; whole where there is no terminal. */
std::string makeName(const Context& context, const std::string& component)
{
    const std::string name = host::printable(shownKey(component));
    return context.width ? shortened(name, widthForNames(context),
                                     context.style.glyphs().ellipsis)
                         : name;
}

} // namespace

std::size_t countSlices(const Context& context)
{
    constexpr std::size_t least = 2;
    return std::max(least, usedWidth(context) - widthForNames(context) -
                               blanksBehindNames(context));
}

void printPicture(const Context& context, const HealthPicture& picture)
{
    const TimeSlices& slices = picture.timeSlices();
    std::vector<PictureRow> rows = picture.rows();
    std::size_t width = 0;
    for (PictureRow& row : rows)
    {
        row.component = makeName(context, row.component);
        row.slices.resize(std::min(row.slices.size(), usedWidth(context)));
        width = std::max(width, countColumns(row.component));
    }
    width += blanksBehindNames(context);
    writeLine(context, localTime(static_cast<uint64_t>(slices.begin)) + " to " +
                           localTime(static_cast<uint64_t>(slices.end())));
    context.out << std::string(width, ' ') << makeAxis(slices) << '\n';
    for (const PictureRow& row : rows)
    {
        context.out << context.style.paint(row.component, Tone::strong)
                    << std::string(width - countColumns(row.component), ' ')
                    << draw(row.slices, context.style) << '\n';
    }
    writeLine(context, makeLegend(slices, context.style), Tone::faint);
    if (picture.isCut())
    {
        writeLine(context,
                  "More components had faults, which only the first row shows; "
                  "choose one with --component.",
                  Tone::faint);
    }
}

nlohmann::ordered_json toJson(const HealthPicture& picture)
{
    const TimeSlices& slices = picture.timeSlices();
    Json components = Json::array();
    for (const PictureRow& row : picture.rows())
    {
        Json healths = Json::array();
        for (const SliceHealth health : row.slices)
        {
            healths.push_back(brushFor(health).word);
        }
        components.push_back(
            {{"component", row.component}, {"health", healths}});
    }
    return {{"begin", slices.begin},
            {"beginTime", utcTime(static_cast<uint64_t>(slices.begin))},
            {"sliceSeconds", slices.length},
            {"slices", slices.count},
            {"cut", picture.isCut()},
            {"components", components}};
}

} // namespace healthintf::healthctl
