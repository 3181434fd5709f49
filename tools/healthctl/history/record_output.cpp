// SPDX-License-Identifier: Apache-2.0
#include "record_output.hpp"

#include "../model/component.hpp"
#include "../output/duration_text.hpp"
#include "../output/table.hpp"
#include "../output/time_text.hpp"

#include <hmi_health_value.hpp>

#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>
#include <cstdio>

namespace healthintf::healthctl
{
namespace
{

using Json = nlohmann::ordered_json;

/** A time before 1970 is none of ours; it counts as 1970. */
uint64_t toSeconds(int64_t milliseconds)
{
    return static_cast<uint64_t>(std::max<int64_t>(milliseconds, 0) /
                                 millisecondsOfSecond);
}

/** As utcTime(), with milliseconds. */
std::string exactTime(int64_t milliseconds)
{
    std::string text = utcTime(toSeconds(milliseconds));
    if (text.ends_with('Z'))
    {
        std::array<char, 8> fraction{};
        std::snprintf(fraction.data(), fraction.size(), ".%03dZ",
                      static_cast<int>(std::max<int64_t>(milliseconds, 0) %
                                       millisecondsOfSecond));
        text.replace(text.size() - 1, 1, fraction.data());
    }
    return text;
}

Json valueOrNull(const std::string& text)
{
    return text.empty() ? Json(nullptr) : Json(text);
}

template <typename Number>
Json valueOrNull(Number number)
{
    return number == 0 ? Json(nullptr) : Json(number);
}

template <typename Value>
Json valueOrNull(const std::optional<Value>& value)
{
    return value ? Json(*value) : Json(nullptr);
}

std::string severityWord(const HistoryRecord& record)
{
    return record.severity == 0 ? ""
                                : health_namespace::healthWord(record.severity);
}

/** Whether a record tells what a person did. */
bool isOfPerson(const HistoryRecord& record)
{
    return record.kind == "acknowledged" || record.kind == "silenced" ||
           record.kind == "silence-ended";
}

/** What a record says beside its message. */
std::vector<std::string> listNotes(const HistoryRecord& record)
{
    std::vector<std::string> notes;
    if (record.lasted)
    {
        notes.push_back("lasted " + durationText(*record.lasted));
    }
    if (record.occurrence > 1)
    {
        notes.push_back("occurrence " + std::to_string(record.occurrence));
    }
    if (record.kind == "withdrawn" && !record.process.empty())
    {
        notes.push_back("with " + record.process + "[" +
                        std::to_string(record.pid) + "]");
    }
    if (isOfPerson(record) && record.user)
    {
        notes.push_back("by user " + std::to_string(*record.user));
    }
    if (!record.comment.empty())
    {
        notes.push_back(record.comment);
    }
    if (record.missed)
    {
        notes.emplace_back("found later");
    }
    return notes;
}

/** The message, or what stands for it where there is none. */
std::string messageOf(const HistoryRecord& record)
{
    if (record.kind == "log-cleared")
    {
        return "The System Event Log was cleared.";
    }
    return record.kind == "history-cleared" ? "The history was cleared."
                                            : record.message;
}

/** An end is no reason for alarm, whatever it is the end of. */
Tone toneOf(const HistoryRecord& record)
{
    return isAppearance(record.kind) ? healthTone(record.severity)
                                     : Tone::plain;
}

std::vector<Cell> makeRow(const HistoryRecord& record)
{
    return {localTime(toSeconds(record.time)),
            {record.kind, toneOf(record)},
            {severityWord(record), toneOf(record)},
            {shownKey(record.component), Tone::strong},
            record.messageId};
}

/** Whether there is room for the description beside the rest. */
bool isWide(const Context& context)
{
    constexpr std::size_t wide = 160;
    return !context.width || *context.width >= wide;
}

Table makeTable()
{
    constexpr std::size_t component = 3;
    constexpr std::size_t message = 4;
    constexpr std::size_t description = 5;
    return Table(
        {{description, 40}, {component, 20}, {message, 12}, {component, 8}});
}

void addRecord(Table& table, const Context& context,
               const HistoryRecord& record, std::vector<Cell> row)
{
    const std::string description = describe(record);
    if (isWide(context))
    {
        row.emplace_back(description);
        table.addRow(std::move(row));
        return;
    }
    table.addRow(std::move(row));
    if (!description.empty())
    {
        table.addText("  ", "  ", description, Tone::plain);
    }
}

void widen(std::string& text, std::size_t width)
{
    text.resize(std::max(text.size(), width), ' ');
}

} // namespace

nlohmann::ordered_json toJson(const HistoryRecord& record)
{
    const std::string severity = severityWord(record);
    return {{"sequence", record.sequence},
            {"time", exactTime(record.time)},
            {"timestampMs", record.time},
            {"kind", record.kind},
            {"component", valueOrNull(record.component)},
            {"path", valueOrNull(record.entry)},
            {"severity", valueOrNull(severity)},
            {"messageId", valueOrNull(record.messageId)},
            {"message", valueOrNull(record.message)},
            {"args", record.args},
            {"sensorPath", valueOrNull(record.sensorPath)},
            {"sensorNumber", valueOrNull(record.sensorNumber)},
            {"sensorType", valueOrNull(record.sensorType)},
            {"process", valueOrNull(record.process)},
            {"processId", valueOrNull(record.pid)},
            {"user", valueOrNull(record.user)},
            {"lastedMs", valueOrNull(record.lasted)},
            {"occurrence", valueOrNull(record.occurrence)},
            {"missed", record.missed},
            {"comment", valueOrNull(record.comment)}};
}

std::string describe(const HistoryRecord& record)
{
    std::string notes;
    for (const std::string& note : listNotes(record))
    {
        notes += (notes.empty() ? "" : ", ") + note;
    }
    const std::string message = messageOf(record);
    if (message.empty() || notes.empty())
    {
        return message + notes;
    }
    return message + " (" + notes + ")";
}

void printRecords(const Context& context,
                  const std::vector<HistoryRecord>& records)
{
    Table table = makeTable();
    for (const HistoryRecord& record : records)
    {
        addRecord(table, context, record, makeRow(record));
    }
    table.print(context.out, context.style, context.width);
}

void printRecord(const Context& context, const HistoryRecord& record)
{
    // The usual kinds and severities are no longer.
    constexpr std::size_t kindWidth = 12;
    constexpr std::size_t severityWidth = 8;
    std::vector<Cell> row = makeRow(record);
    widen(row[1].text, kindWidth);
    widen(row[2].text, severityWidth);
    Table table = makeTable();
    addRecord(table, context, record, std::move(row));
    table.print(context.out, context.style, context.width);
}

} // namespace healthintf::healthctl
