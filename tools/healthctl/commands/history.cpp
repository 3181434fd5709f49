// SPDX-License-Identifier: Apache-2.0
#include "history.hpp"

#include "../choices.hpp"
#include "../history/history_client.hpp"
#include "../history/history_follower.hpp"
#include "../history/picture_output.hpp"
#include "../history/record_output.hpp"
#include "../history/summary_output.hpp"
#include "../model/component.hpp"
#include "../numbers.hpp"
#include "../output/json_list.hpp"
#include "../output/line_output.hpp"
#include "../watch/ending_signals.hpp"
#include "../watch/watch_loop.hpp"
#include "arguments.hpp"
#include "confirmation.hpp"

#include <com/vexa/olvar/healthmgr/names.hpp>

#include <nlohmann/json.hpp>

#include <algorithm>
#include <chrono>
#include <limits>
#include <memory>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include <bus_calls.hpp>

namespace healthintf::healthctl
{
namespace
{

struct HistoryOptions
{
    std::string component;
    PeriodOptions period;
    HistoryFilter filter;
    bool reverse = false;
    std::size_t limit = 0;
    bool follow = false;
    bool summary = false;
    bool picture = false;
};

HistoryFilter makeFilter(const HistoryOptions& options)
{
    HistoryFilter filter = options.filter;
    if (!options.component.empty())
    {
        filter.component = parseKey(options.component);
    }
    filter.period = readPeriod(options.period);
    return filter;
}

int64_t readClock()
{
    using std::chrono::milliseconds;
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    return std::chrono::duration_cast<milliseconds>(now).count();
}

/** Writes records for people or for programs. */
class RecordWriter
{
  public:
    explicit RecordWriter(const Context& context) : context(context)
    {
        if (context.json)
        {
            list.emplace(context, historySchema, historyList);
        }
    }

    void write(const std::vector<HistoryRecord>& records)
    {
        any = any || !records.empty();
        if (!list)
        {
            printRecords(context, records);
            return;
        }
        for (const HistoryRecord& record : records)
        {
            list->add(toJson(record));
        }
    }

    ExitCode end()
    {
        if (list)
        {
            list->end();
        }
        else if (!any)
        {
            writeLine(context, "No such records.");
        }
        return any ? ExitCode::ok : ExitCode::nothingFound;
    }

  private:
    const Context& context;
    std::optional<JsonList> list;
    bool any = false;
};

/** Writes the records, of which those of a page are held. */
ExitCode listRecords(const Context& context, const HistoryReader& reader,
                     const HistoryOptions& options)
{
    constexpr std::size_t all = std::numeric_limits<std::size_t>::max();
    RecordWriter writer(context);
    std::size_t left = options.limit == 0 ? all : options.limit;
    const auto take = [&](std::vector<HistoryRecord> records) {
        records.resize(std::min(records.size(), left));
        left -= records.size();
        writer.write(records);
        flush(context.out);
        return left > 0;
    };
    if (options.reverse)
    {
        reader.readBackwards(take);
    }
    else if (options.limit == 0)
    {
        reader.readForwards(0, take);
    }
    else if (const auto first = reader.findLast(options.limit))
    {
        reader.readForwards(*first, take);
    }
    return writer.end();
}

void writeFollowed(const Context& context, const HistoryRecord& record)
{
    if (context.json)
    {
        Context compact = context;
        compact.compact = true;
        writeJson(
            compact, historySchema,
            {{historyList, nlohmann::ordered_json::array({toJson(record)})}});
    }
    else
    {
        printRecord(context, record);
    }
    flush(context.out);
}

/** From where to follow: from the beginning of the period, else from the last
 *  records on. */
uint64_t findBeginning(const HistoryReader& reader,
                       const HistoryOptions& options)
{
    constexpr std::size_t usual = 10;
    if (options.limit == 0 && !options.period.since.empty())
    {
        return 0;
    }
    const ImmediateEnd ending;
    return reader.findLast(options.limit == 0 ? usual : options.limit)
        .value_or(0);
}

ExitCode followRecords(const Context& context, const HistoryReader& reader,
                       const HistoryOptions& options)
{
    const auto operators = connectBus();
    const BusPtr bus = host::openDefaultBus();
    WatchLoop loop(bus.get());
    const HistoryFollower follower(bus.get(), loop.events(), reader,
                                   findBeginning(reader, options),
                                   [&context](const HistoryRecord& record) {
                                       writeFollowed(context, record);
                                   });
    loop.run();
    return ExitCode::ok;
}

/** The options' period in milliseconds, up to now at most.
 *
 *  @param[in] begin when it begins if the options do not say */
TimeSpan makePeriod(const HistoryFilter& filter, int64_t now, int64_t begin)
{
    const auto given = [](const std::optional<int64_t>& seconds) {
        constexpr int64_t most =
            std::numeric_limits<int64_t>::max() / millisecondsOfSecond - 1;
        return std::clamp(*seconds, -most, most) * millisecondsOfSecond;
    };
    const TimeSpan period{
        .begin = filter.period.since ? given(filter.period.since) : begin,
        .end = filter.period.until ? given(filter.period.until) : now};
    if (period.begin >= period.end)
    {
        throw Error(ExitCode::usage,
                    "--since is not before --until; say when to begin and when "
                    "to end");
    }
    return period;
}

/** Follows all faults that the filter chooses. What lasted during a period may
 *  have its records before and behind it, so all are read.
 *
 *  @param[in] filter its period and kinds do not matter */
void readSpans(const HistoryClient& client, HistoryFilter filter, int64_t now,
               FaultSpans::Handlers handlers)
{
    filter.period = {};
    filter.kinds = {"appeared",  "monitor-lost", "cleared", "gave-way",
                    "withdrawn", "monitor-back", "hidden",  "shown"};
    FaultSpans spans(std::move(handlers));
    makeReader(client, std::move(filter))
        .readForwards(0, [&spans](const std::vector<HistoryRecord>& records) {
            for (const HistoryRecord& record : records)
            {
                spans.take(record);
            }
            return true;
        });
    spans.finish(now);
}

void writeLeftOut(const Context& context, uint64_t occurrences)
{
    if (occurrences != 0)
    {
        writeLine(context,
                  std::to_string(occurrences) +
                      " occurrences are not listed, because there are too many "
                      "faults; choose some, for example with --component",
                  Tone::faint);
    }
}

ExitCode summarize(const Context& context, const HistoryClient& client,
                   const HistoryOptions& options)
{
    const HistoryFilter filter = makeFilter(options);
    const int64_t now = readClock();
    const TimeSpan period = makePeriod(filter, now, 0);
    FaultSums sums(period);
    readSpans(
        client, filter, now,
        {.lasted =
             [&sums](const HistoryRecord& fault, TimeSpan span, bool lasts) {
                 sums.take(fault, span, lasts);
             },
         .visible = [](const HistoryRecord&, TimeSpan) {}});
    std::vector<FaultSummary> summaries = sums.summaries();
    if (options.limit != 0)
    {
        summaries.resize(std::min(summaries.size(), options.limit));
    }
    if (context.json)
    {
        auto faults = nlohmann::ordered_json::array();
        for (const FaultSummary& summary : summaries)
        {
            faults.push_back(toJson(summary));
        }
        writeJson(context, "healthctl.history-summary/1",
                  {{"occurrencesLeftOut", sums.left()}, {"faults", faults}});
    }
    else if (summaries.empty())
    {
        writeLine(context, "No such faults.");
    }
    else
    {
        printSummaries(context, summaries);
        writeLeftOut(context, sums.left());
    }
    return summaries.empty() ? ExitCode::nothingFound : ExitCode::ok;
}

/** From when on the history tells everything: from its first record on, or from
 *  when it was cleared. */
int64_t findRecordedSince(const HistoryClient& client, int64_t now)
{
    std::optional<int64_t> since;
    const auto takeFirst = [&since](const std::vector<HistoryRecord>& records) {
        since = std::max(records.front().time, since.value_or(0));
        return false;
    };
    makeReader(client, {}).readForwards(0, takeFirst);
    makeReader(client, {.kinds = {"history-cleared"}}).readBackwards(takeFirst);
    return since.value_or(now);
}

ExitCode drawPicture(const Context& context, const HistoryClient& client,
                     const HistoryOptions& options)
{
    constexpr int64_t day = millisecondsOfSecond * 60 * 60 * 24;
    const HistoryFilter filter = makeFilter(options);
    const int64_t now = readClock();
    const TimeSpan period = makePeriod(filter, now, now - day);
    const TimeSlices slices = makeSlices(
        period.begin / millisecondsOfSecond,
        (period.end + millisecondsOfSecond - 1) / millisecondsOfSecond,
        countSlices(context));
    HealthPicture picture(filter.component.empty() ? names::root
                                                   : filter.component,
                          slices, {findRecordedSince(client, now), now});
    readSpans(client, filter, now,
              {.lasted = [](const HistoryRecord&, TimeSpan, bool) {},
               .visible =
                   [&picture](const HistoryRecord& fault, TimeSpan span) {
                       picture.take(fault, span);
                   }});
    if (context.json)
    {
        writeJson(context, "healthctl.history-picture/1", toJson(picture));
    }
    else
    {
        printPicture(context, picture);
    }
    return ExitCode::ok;
}

ExitCode history(const Context& context, const HistoryOptions& options)
{
    const HistoryClient client;
    if (options.summary)
    {
        return summarize(context, client, options);
    }
    if (options.picture)
    {
        return drawPicture(context, client, options);
    }
    const HistoryReader reader = makeReader(client, makeFilter(options));
    return options.follow ? followRecords(context, reader, options)
                          : listRecords(context, reader, options);
}

ExitCode clearHistory(const Context& context, bool withoutQuestion)
{
    const HistoryClient client;
    if (!withoutQuestion &&
        !isConfirmed(context, "clear the history",
                     "Remove all " + std::to_string(client.countRecords()) +
                         " records of the history but those of lasting "
                         "faults"))
    {
        writeLine(context, "Nothing was removed.");
        return ExitCode::nothingFound;
    }
    client.clear();
    const uint64_t left = client.countRecords();
    if (context.json)
    {
        writeJson(context, "healthctl.history-clear/1", {{"left", left}});
    }
    else
    {
        writeLine(context, "The history was cleared; it has " +
                               std::to_string(left) +
                               (left == 1 ? " record now." : " records now."));
    }
    return ExitCode::ok;
}

void addHistoryClear(CommandLine& commands, CLI::App& history)
{
    const auto yes = std::make_shared<bool>(false);
    CLI::App& command = commands.add(
        history,
        {.name = "clear",
         .summary = "Removes all records but those of lasting faults.",
         .more = "Asks before, on a terminal. A record says that it was "
                 "done.\n"
                 "\n"
                 "Examples:\n"
                 "  healthctl history clear\n"
                 "  healthctl history clear --yes"},
        [yes](const Context& context) {
            return clearHistory(context, *yes);
        });
    command.add_flag("--yes", *yes, "Do not ask");
}

void addFilter(CLI::App& command, HistoryOptions& options)
{
    static const Choices<std::string> kinds = [] {
        Choices<std::string> words;
        for (const char* kind : historyKinds)
        {
            words.emplace(kind, kind);
        }
        return words;
    }();
    auto* key = command
                    .add_option("KEY", options.component,
                                "Only of this component and below it")
                    ->type_name("");
    command.add_option("-c,--component", options.component, "The same as KEY")
        ->type_name("KEY")
        ->excludes(key);
    addPeriod(command, options.period);
    addSeverities(command, options.filter.severities);
    command
        .add_option("-m,--message", options.filter.messages,
                    "Only with this message identifier; repeatable")
        ->type_name("ID")
        ->expected(1)
        ->take_all();
    addChoices(command, "-k,--kind", options.filter.kinds, kinds,
               "Only of this kind; repeatable");
}

/** Adds what to do with the records that are chosen. */
void addForms(CLI::App& command, HistoryOptions& options)
{
    auto* reverse =
        command.add_flag("-r,--reverse", options.reverse, "The newest first");
    addNumber(command, "-n,--limit", options.limit, {0},
              "The newest N, or N faults; 0 for all")
        ->type_name("N");
    auto* follow = command.add_flag("-f,--follow", options.follow,
                                    "Also those to come; the last 10 first");
    auto* summary = command.add_flag("--summary", options.summary,
                                     "How often and how long each fault was");
    auto* picture =
        command.add_flag("--picture", options.picture,
                         "Who was in which health when, of the last day");
    follow->excludes(reverse)->excludes(summary)->excludes(picture);
    follow->excludes(command.get_option("--until"));
    for (auto* form : {summary, picture})
    {
        form->excludes(reverse)->excludes(command.get_option("--kind"));
    }
    summary->excludes(picture);
    picture->excludes(command.get_option("--limit"));
}

std::string historyHelp()
{
    std::string kinds = "KIND is one of:";
    std::size_t column = kinds.size();
    constexpr std::size_t width = 79;
    for (const std::string kind : historyKinds)
    {
        const bool fits = column + 1 + kind.size() <= width;
        kinds += (fits ? " " : "\n  ") + kind;
        column = (fits ? column + 1 : 2) + kind.size();
    }
    return "Exits with 1 when there is none. A component named \"clear\" is "
           "written with\n"
           "--component. A message is named in full, or without its version "
           "or its\n"
           "registry. A fault is flapping when it came " +
           std::to_string(flappingOccurrences) + " times within an hour.\n\n" +
           kinds + "\n\n" + timeArgumentHelp +
           "\n"
           "Examples:\n"
           "  healthctl history --since yesterday --until today\n"
           "  healthctl history chassis/fan1 --limit 20\n"
           "  healthctl history --severity critical --kind appeared "
           "--reverse\n"
           "  healthctl history --follow\n"
           "  healthctl history --summary --since 1w\n"
           "  healthctl history --picture chassis\n"
           "  healthctl history clear";
}

} // namespace

void addHistory(CommandLine& commands)
{
    const auto options = std::make_shared<HistoryOptions>();
    CLI::App& command =
        commands.add({.name = "history",
                      .summary = "Shows which faults came and went.",
                      .more = historyHelp(),
                      .paged = true},
                     [options](const Context& context) {
                         return history(context, *options);
                     });
    addFilter(command, *options);
    addForms(command, *options);
    addHistoryClear(commands, command);
}

} // namespace healthintf::healthctl
