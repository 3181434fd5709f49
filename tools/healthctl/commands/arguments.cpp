// SPDX-License-Identifier: Apache-2.0
#include "arguments.hpp"

#include "../choices.hpp"
#include "../error.hpp"
#include "../time_argument.hpp"

#include <hmi_health_value.hpp>
#include <platform/utf8.hpp>

#include <ctime>

namespace healthintf::healthctl
{

std::optional<int64_t> givenMoment(const std::string& text)
{
    if (text.empty())
    {
        return std::nullopt;
    }
    return argument(
        [&] {
            return parseTimeArgument(text, std::time(nullptr));
        },
        "write it as 2026-01-31, yesterday, 10m or @1700000000");
}

void addPeriod(CLI::App& command, PeriodOptions& options)
{
    command.add_option("--since", options.since, "Only from this time on")
        ->type_name("TIME");
    command.add_option("--until", options.until, "Only up to this time")
        ->type_name("TIME");
}

Period readPeriod(const PeriodOptions& options)
{
    return {.since = givenMoment(options.since),
            .until = givenMoment(options.until)};
}

void addSeverities(CLI::App& command, std::set<uint32_t>& chosen)
{
    static const Choices<uint32_t> words{
        {"critical", health_namespace::healthCritical},
        {"warning", health_namespace::healthWarning},
        {"OK", health_namespace::healthOk},
        {"unknown", health_namespace::healthUnknown}};
    addChoices(command, "-s,--severity", chosen, words,
               "critical, warning, OK or unknown; repeatable");
}

const std::string& givenComment(const std::string& text)
{
    if (!isUtf8(text))
    {
        throw Error(ExitCode::usage, "a comment must be one line of printable "
                                     "UTF-8 characters");
    }
    return text;
}

uint32_t givenSpan(const std::string& text)
{
    return argument(
        [&] {
            return parseSpan(text);
        },
        "write it as 30s, 10m, 2h or 7d");
}

} // namespace healthintf::healthctl
