// SPDX-License-Identifier: Apache-2.0
#include "doctor.hpp"

#include "../doctor/examination.hpp"
#include "../output/line_output.hpp"
#include "../output/table.hpp"
#include "../output/text.hpp"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <memory>
#include <string>

namespace healthintf::healthctl
{
namespace
{

constexpr const char* doctorHelp =
    "Looks at the bus, the services, their policies and limits, the data "
    "cache,\n"
    "the health tree, and the files of the installation. It changes nothing: "
    "to\n"
    "learn what this user may do, it makes calls that the services refuse.\n"
    "\n"
    "Each finding is ok, a warning or a problem; below the latter two stands\n"
    "what to do. Exits with 1 when there is a problem.\n"
    "\n"
    "Examples:\n"
    "  healthctl doctor\n"
    "  healthctl doctor --brief\n"
    "  healthctl doctor --json";

Tone gradeTone(Grade grade)
{
    switch (grade)
    {
        case Grade::ok:
            return Tone::ok;
        case Grade::warning:
            return Tone::warning;
        case Grade::problem:
            return Tone::critical;
    }
    return Tone::plain;
}

std::size_t countFindings(const Findings& findings, Grade grade)
{
    return static_cast<std::size_t>(
        std::ranges::count(findings, grade, &Finding::grade));
}

void writeText(const Context& context, const Findings& findings, bool brief)
{
    constexpr std::size_t column = 9;
    const std::string margin(column, ' ');
    Table table({});
    for (const Finding& finding : findings)
    {
        if (brief && finding.grade == Grade::ok)
        {
            continue;
        }
        const std::string word = wordFor(finding.grade);
        table.addText(word + std::string(column - word.size(), ' '), margin,
                      finding.text, Tone::plain, gradeTone(finding.grade));
        if (!finding.remedy.empty())
        {
            table.addText(margin, margin, "-> " + finding.remedy, Tone::plain);
        }
    }
    table.print(context.out, context.style, context.width);
    writeLine(
        context,
        counted(countFindings(findings, Grade::problem), "problem") + ", " +
            counted(countFindings(findings, Grade::warning), "warning") + ", " +
            std::to_string(countFindings(findings, Grade::ok)) + " ok");
}

void writeJson(const Context& context, const Findings& findings, bool brief)
{
    nlohmann::ordered_json list = nlohmann::ordered_json::array();
    for (const Finding& finding : findings)
    {
        if (!brief || finding.grade != Grade::ok)
        {
            list.push_back(
                {{"check", finding.check},
                 {"grade", wordFor(finding.grade)},
                 {"text", finding.text},
                 {"remedy", finding.remedy.empty()
                                ? nlohmann::ordered_json(nullptr)
                                : nlohmann::ordered_json(finding.remedy)}});
        }
    }
    writeJson(context, "healthctl.doctor/1",
              {{"problems", countFindings(findings, Grade::problem)},
               {"warnings", countFindings(findings, Grade::warning)},
               {"ok", countFindings(findings, Grade::ok)},
               {"findings", list}});
}

ExitCode examineAndTell(const Context& context, bool brief)
{
    const Findings findings = examine();
    if (context.json)
    {
        writeJson(context, findings, brief);
    }
    else
    {
        writeText(context, findings, brief);
    }
    return countFindings(findings, Grade::problem) == 0
               ? ExitCode::ok
               : ExitCode::nothingFound;
}

} // namespace

void addDoctor(CommandLine& commands)
{
    const auto brief = std::make_shared<bool>(false);
    CLI::App& command = commands.add(
        {.name = "doctor",
         .summary = "Looks for what may be wrong, and says what to do.",
         .more = doctorHelp,
         .paged = true},
        [brief](const Context& context) {
            return examineAndTell(context, *brief);
        });
    command.add_flag("--brief", *brief, "Leave out what is ok");
}

} // namespace healthintf::healthctl
