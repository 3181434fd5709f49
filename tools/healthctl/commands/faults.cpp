// SPDX-License-Identifier: Apache-2.0
#include "faults.hpp"

#include "../choices.hpp"
#include "../model/component.hpp"
#include "../model/fault_filter.hpp"
#include "../numbers.hpp"
#include "../output/fault_output.hpp"
#include "../output/line_output.hpp"
#include "../output/short_faults.hpp"
#include "../output/silence_output.hpp"
#include "../output/text.hpp"
#include "../source/operator_notes.hpp"
#include "../source/source_option.hpp"
#include "arguments.hpp"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cstdint>
#include <ctime>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace healthintf::healthctl
{
namespace
{

struct FaultsOptions
{
    std::string component;
    bool visible = false;
    bool hidden = false;
    bool all = false;
    bool explain = false;
    bool inShort = false;
    bool inFull = false;
    PeriodOptions period;
    FaultFilter filter;
    SourceChoice source = SourceChoice::automatic;
};

FaultFilter makeFilter(const FaultsOptions& options)
{
    FaultFilter filter = options.filter;
    if (!options.component.empty())
    {
        filter.key = parseKey(options.component);
    }
    filter.period = readPeriod(options.period);
    filter.visibility = options.all      ? Visibility::all
                        : options.hidden ? Visibility::hidden
                                         : Visibility::visible;
    return filter;
}

/** Says how many faults are listed, and of how many, unless that is plain to
 *  see: the list is one fault, or nothing, and there are no others. */
void writeCount(const Context& context, std::size_t listed, std::size_t total)
{
    const std::string all = counted(total, "fault");
    if (listed < total)
    {
        writeLine(context, std::to_string(listed) + " of " + all, Tone::faint);
    }
    else if (total > 1)
    {
        writeLine(context, all, Tone::faint);
    }
}

/** The filter for the same faults, hidden ones too. */
FaultFilter withHidden(FaultFilter filter)
{
    filter.visibility = Visibility::all;
    filter.limit = 0;
    return filter;
}

/** Says how many hidden faults are not listed. */
void writeHiddenCount(const Context& context, const Faults& faults,
                      FaultFilter filter)
{
    if (filter.visibility != Visibility::visible)
    {
        return;
    }
    filter.visibility = Visibility::hidden;
    filter.limit = 0;
    if (const auto hidden = chooseFaults(faults, filter).size(); hidden > 0)
    {
        writeLine(context,
                  counted(hidden, "hidden fault") +
                      (hidden == 1 ? " is" : " are") + " not shown (see --all)",
                  Tone::faint);
    }
}

/** Whether each fault is a line. */
bool isShort(const Context& context, const FaultsOptions& options)
{
    return options.inShort ||
           (isWideTerminal(context) && !options.inFull && !options.explain);
}

host::Explanations explain(const Faults& faults)
{
    std::set<std::string> ids;
    for (const Fault& fault : faults)
    {
        ids.insert(fault.record.messageID());
    }
    return host::explainMessages(ids);
}

void print(const Context& context, const FaultsOptions& options,
           const Faults& faults,
           const std::optional<host::Explanations>& explanations)
{
    if (faults.empty())
    {
        writeLine(context, "No such faults.");
    }
    else if (isShort(context, options))
    {
        printShortFaults(context, faults,
                         static_cast<uint64_t>(std::time(nullptr)));
    }
    else
    {
        printFaults(context, faults, explanations);
    }
}

ExitCode faults(const Context& context, const FaultsOptions& options)
{
    const FaultFilter filter = makeFilter(options);
    const auto source = openSourceWithWarning(options.source);
    Faults all = source->faults();
    const Silences silences = addNotes(all, *source);
    const Faults chosen = chooseFaults(all, filter);
    if (chosen.empty() && !options.component.empty())
    {
        checkComponent(*source, options.component);
    }
    std::optional<host::Explanations> explanations;
    if (options.explain)
    {
        explanations = explain(chosen);
    }
    const std::size_t total = countFaults(all, filter.visibility);
    const Silences hiding =
        chooseSilences(silences, chooseFaults(all, withHidden(filter)));
    if (context.json)
    {
        writeJson(context, "healthctl.faults/1",
                  {{"source", source->name()},
                   {"total", total},
                   {"faults", explanations ? toJson(chosen, *explanations)
                                           : toJson(chosen)},
                   {"silences", toJson(hiding)}});
    }
    else
    {
        print(context, options, chosen, explanations);
        writeCount(context, chosen.size(), total);
        writeHiddenCount(context, all, filter);
        writeSilences(context, hiding);
    }
    return chosen.empty() ? ExitCode::nothingFound : ExitCode::ok;
}

void addMessageFilter(CLI::App& command, FaultFilter& filter)
{
    command
        .add_option("-m,--message", filter.messages,
                    "Only with this message identifier; repeatable")
        ->type_name("ID")
        ->expected(1)
        ->take_all();
    command
        .add_option("-t,--text", filter.text,
                    "Only with this text in the message")
        ->type_name("TEXT");
}

void addOrder(CLI::App& command, FaultFilter& filter)
{
    static const Choices<FaultOrder> orders{
        {"time", FaultOrder::time},
        {"severity", FaultOrder::severity},
        {"component", FaultOrder::component}};
    addChoice(command, "--sort", filter.order, orders,
              "time, severity (the default) or component");
    command.add_flag("-r,--reverse", filter.reverse, "The other way round");
    addNumber(command, "-n,--limit", filter.limit, {0},
              "How many at most; 0 for all")
        ->type_name("N");
}

void addForm(CLI::App& command, FaultsOptions& options)
{
    auto* inShort =
        command.add_flag("--short", options.inShort,
                         "A line each (default from 160 columns on)");
    auto* inFull = command.add_flag("--long", options.inFull,
                                    "Each with its sensor (default elsewhere)");
    auto* explain =
        command.add_flag("--explain", options.explain,
                         "Also what each message means, and what to do");
    inShort->excludes(inFull)->excludes(explain);
}

std::string faultsHelp()
{
    return std::string(
               "Exits with 1 when there is none. --since and --until are "
               "about when a\n"
               "fault appeared. A message is named in full, or without its "
               "version or its\n"
               "registry.\n") +
           timeArgumentHelp +
           "\n"
           "Examples:\n"
           "  healthctl faults\n"
           "  healthctl faults --severity critical --severity warning\n"
           "  healthctl faults --component chassis/psu1 --all\n"
           "  healthctl faults --since 2h --message FilesystemFull\n"
           "  healthctl faults --severity critical --explain\n"
           "  healthctl faults --sort time --reverse --limit 5 --json";
}

} // namespace

void addFaults(CommandLine& commands)
{
    const auto options = std::make_shared<FaultsOptions>();
    CLI::App& command = commands.add({.name = "faults",
                                      .summary = "Lists faults.",
                                      .more = faultsHelp(),
                                      .paged = true},
                                     [options](const Context& context) {
                                         return faults(context, *options);
                                     });
    command
        .add_option("-c,--component", options->component,
                    "Only faults of this component and below it")
        ->type_name("PATH");
    addSeverities(command, options->filter.severities);
    addPeriod(command, options->period);
    addMessageFilter(command, options->filter);
    auto* hidden =
        command.add_flag("--hidden", options->hidden, "Only hidden faults");
    auto* visible = command.add_flag("--visible", options->visible,
                                     "Only visible faults (the default)");
    auto* all =
        command.add_flag("--all", options->all, "Visible and hidden faults");
    hidden->excludes(visible)->excludes(all);
    visible->excludes(all);
    addOrder(command, options->filter);
    addForm(command, *options);
    addSourceOption(command, options->source);
}

} // namespace healthintf::healthctl
