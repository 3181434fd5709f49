// SPDX-License-Identifier: Apache-2.0
#include "leds.hpp"

#include "../output/table.hpp"
#include "../source/source_option.hpp"

#include <nlohmann/json.hpp>

#include <memory>
#include <string>

namespace healthintf::healthctl
{
namespace
{

void writeLeds(const Context& context, const HealthSource& source,
               const LedStates& states)
{
    auto asked = nlohmann::ordered_json::array();
    for (std::size_t state = 1; state < states.size(); ++state)
    {
        asked.push_back({{"state", state}, {"asked", states.at(state)}});
    }
    writeJson(context, "healthctl.leds/1",
              {{"source", source.name()}, {"leds", asked}});
}

void printLeds(const Context& context, const LedStates& states)
{
    Table table({});
    for (std::size_t state = 1; state < states.size(); ++state)
    {
        const bool asked = states.at(state);
        table.addText("state ", "      ",
                      std::to_string(state) + "  " +
                          (asked ? "asked for" : "-"),
                      asked ? Tone::strong : Tone::faint, Tone::plain);
    }
    table.print(context.out, context.style, context.width);
}

ExitCode leds(const Context& context, SourceChoice choice)
{
    const auto source = openSourceWithWarning(choice);
    const LedStates states = source->leds();
    if (context.json)
    {
        writeLeds(context, *source, states);
    }
    else
    {
        printLeds(context, states);
    }
    return ExitCode::ok;
}

} // namespace

void addLeds(CommandLine& commands)
{
    const auto choice = std::make_shared<SourceChoice>();
    CLI::App& command = commands.add(
        {.name = "leds",
         .summary = "Tells which LED states the faults ask for.",
         .more = "Hidden faults ask, too. What a state means is up to the LED "
                 "controller.\n\n"
                 "Examples:\n"
                 "  healthctl leds\n"
                 "  healthctl leds --json"},
        [choice](const Context& context) {
            return leds(context, *choice);
        });
    addSourceOption(command, *choice);
}

} // namespace healthintf::healthctl
