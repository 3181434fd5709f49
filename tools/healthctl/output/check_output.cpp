// SPDX-License-Identifier: Apache-2.0
#include "check_output.hpp"

#include "../model/component.hpp"
#include "fault_output.hpp"

#include <hmi_health_value.hpp>
#include <platform/utf8.hpp>

#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>
#include <vector>

#include <printable.hpp>

namespace healthintf::healthctl
{
namespace
{

/** The most bytes of a text in a plugin's line. */
constexpr std::size_t maxText = 200;
/** The most bytes of a component's name there. */
constexpr std::size_t maxName = 80;

/** The word that a plugin's line begins with. */
const char* pluginWord(CheckState state)
{
    constexpr std::array<const char*, 4> words{"OK", "WARNING", "CRITICAL",
                                               "UNKNOWN"};
    return words.at(static_cast<std::size_t>(state));
}

const char* jsonWord(CheckState state)
{
    constexpr std::array<const char*, 4> words{"OK", "warning", "critical",
                                               "unknown"};
    return words.at(static_cast<std::size_t>(state));
}

/** A text of others for a plugin's line. */
std::string harmless(std::string_view text, std::size_t size)
{
    std::string result = host::printable(text);
    std::erase_if(result, [](char each) {
        return each == '"' || each == '\'' || each == '`';
    });
    std::ranges::replace(result, '|', ' ');
    std::ranges::replace(result, '=', ' ');
    if (result.size() > size)
    {
        constexpr std::string_view dots = "...";
        result = truncateUtf8(result, size - dots.size());
        result += dots;
    }
    return result;
}

std::string name(const std::string& key)
{
    return harmless(shownKey(key), maxName);
}

std::string count(std::size_t number, const std::string& thing)
{
    return std::to_string(number) + " " + thing + (number == 1 ? "" : "s");
}

/** The faults in words. */
std::string describe(const ComponentCheck& check)
{
    const FaultNumbers& faults = check.faults;
    std::string text = faults.visible() == 0
                           ? "no visible fault"
                           : count(faults.visible(), "visible fault");
    if (faults.hidden > 0)
    {
        text += ", " + std::to_string(faults.hidden) + " hidden";
    }
    if (faults.lostMonitors > 0)
    {
        text += ", " + count(faults.lostMonitors, "lost monitor");
    }
    if (!check.withoutFault.empty())
    {
        text += "; " + name(check.withoutFault) + " is " +
                health_namespace::healthWord(check.health) + " without a fault";
    }
    if (check.worst)
    {
        const FaultEntry_gen& worst = check.worst->record;
        text += "; worst: " + name(getComponent(check.worst->path)) + ": " +
                harmless(worst.message().empty() ? worst.messageID()
                                                 : worst.message(),
                         maxText);
    }
    return text;
}

using Numbers = std::vector<std::pair<const char*, std::size_t>>;

std::string performanceData(const FaultNumbers& faults)
{
    std::string text = " |";
    for (const auto& [label, number] :
         Numbers{{"faults", faults.visible()},
                 {"critical", faults.critical},
                 {"warning", faults.warning},
                 {"ok", faults.ok},
                 {"unknown", faults.unknown},
                 {"hidden", faults.hidden},
                 {"lost_monitors", faults.lostMonitors}})
    {
        text += std::string(" ") + label + "=" + std::to_string(number);
    }
    return text;
}

/** The members of the document that tell of the component. */
nlohmann::ordered_json toJson(const ComponentCheck& check)
{
    const FaultNumbers& faults = check.faults;
    return {{"component", check.key},
            {"health", health_namespace::healthWord(check.health)},
            {"faults",
             {{"visible", faults.visible()},
              {"critical", faults.critical},
              {"warning", faults.warning},
              {"ok", faults.ok},
              {"unknown", faults.unknown},
              {"hidden", faults.hidden},
              {"lostMonitors", faults.lostMonitors}}},
            {"worst", check.worst ? toJson(*check.worst)
                                  : nlohmann::ordered_json(nullptr)},
            {"withoutFault", check.withoutFault}};
}

} // namespace

CheckState CheckReport::state() const
{
    return component && why.empty() ? component->state : CheckState::unknown;
}

std::string pluginLine(const CheckReport& report)
{
    std::string line = pluginWord(report.state()) + std::string(" - ");
    if (report.component)
    {
        line += name(report.component->key) + ": ";
    }
    line += harmless(report.why, maxText);
    if (report.component)
    {
        line += (report.why.empty() ? "" : "; ") + describe(*report.component);
    }
    if (report.silent > 0)
    {
        line += "; silent processes: " + std::to_string(report.silent);
    }
    return report.component ? line + performanceData(report.component->faults)
                            : line;
}

void writeReport(const Context& context, const CheckReport& report)
{
    if (!context.json)
    {
        context.out << pluginLine(report) << '\n';
        return;
    }
    using Json = nlohmann::ordered_json;
    Json document{
        {"state", jsonWord(report.state())},
        {"why", report.why},
        {"source", report.source.empty() ? Json(nullptr) : Json(report.source)},
        {"silent", report.silent},
        {"checked",
         report.component ? toJson(*report.component) : Json(nullptr)}};
    writeJson(context, "healthctl.check/1", document);
}

} // namespace healthintf::healthctl
