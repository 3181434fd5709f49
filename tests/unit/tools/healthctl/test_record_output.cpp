// SPDX-License-Identifier: Apache-2.0
#include "history/record_output.hpp"
#include "history_records.hpp"
#include "output/text.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <cstdlib>
#include <ctime>
#include <optional>
#include <sstream>
#include <string>

namespace healthintf::healthctl
{
namespace
{

using testing::HasSubstr;
using testing::Not;

constexpr int64_t noon = 12 * 3'600'000;

const HistoryRecord appeared = makeRecord("appeared", noon);

HistoryRecord makeCleared()
{
    HistoryRecord record = makeRecord("cleared", noon + 3000, "fan", 4);
    record.lasted = 3000;
    record.occurrence = 2;
    return record;
}

std::string print(const std::vector<HistoryRecord>& records,
                  std::optional<std::size_t> width = {})
{
    setenv("TZ", "UTC0", 1);
    tzset();
    std::ostringstream out;
    const Context context{
        .out = out, .style = Style(false, true), .width = width};
    printRecords(context, records);
    return out.str();
}

TEST(RecordOutput, IsALineEach)
{
    EXPECT_EQ(print({appeared, makeCleared()}),
              "1970-01-01 12:00:00  appeared  critical  fan  Fan.1.0.Stopped  "
              "The fan has stopped.\n"
              "1970-01-01 12:00:03  cleared   critical  fan  Fan.1.0.Stopped  "
              "The fan has stopped. (lasted 3s, occurrence 2)\n");
    EXPECT_EQ(print({appeared}, 160), print({appeared}));
}

TEST(RecordOutput, HasTheMessageBelowOnANarrowTerminal)
{
    EXPECT_EQ(print({appeared}, 80),
              "1970-01-01 12:00:00  appeared  critical  fan  Fan.1.0.Stopped\n"
              "  The fan has stopped.\n");
}

TEST(RecordOutput, FitsTerminals)
{
    HistoryRecord record =
        makeRecord("attribute-changed", noon, std::string(100, 'k'));
    record.messageId = std::string(100, 'm');
    record.message = std::string(300, 't');
    for (const std::size_t width : {20U, 40U, 80U, 160U, 200U})
    {
        std::istringstream lines(print({record, appeared}, width));
        for (std::string line; std::getline(lines, line);)
        {
            EXPECT_LE(countColumns(line), width) << line;
        }
    }
}

TEST(RecordOutput, EscapesWhatMisleads)
{
    HistoryRecord record = appeared;
    record.kind = "k\x1b[2J";
    record.component = "/c\x1b[2J";
    record.messageId = "i\x1b[2J";
    record.message = "m\x1b[2J\n";
    record.comment = "o\xE2\x80\xAE";
    for (const auto width :
         {std::optional<std::size_t>(), std::optional<std::size_t>(80)})
    {
        const std::string printed = print({record}, width);
        EXPECT_THAT(printed, Not(HasSubstr("\x1b")));
        EXPECT_THAT(printed, Not(HasSubstr("\xE2\x80\xAE")));
    }
}

TEST(RecordOutput, OfOneRecordHasTheColumnsOfOthers)
{
    print({});
    std::ostringstream out;
    const Context context{.out = out, .style = Style(false, true), .width = {}};
    printRecord(context, appeared);
    printRecord(context, makeRecord("cleared", noon, "fan", 3));
    EXPECT_EQ(out.str(), "1970-01-01 12:00:00  appeared      critical  fan  "
                         "Fan.1.0.Stopped  The fan has stopped.\n"
                         "1970-01-01 12:00:00  cleared       warning   fan  "
                         "Fan.1.0.Stopped  The fan has stopped.\n");
}

TEST(RecordDescription, SaysWhatAPersonDid)
{
    HistoryRecord record = makeRecord("acknowledged", noon);
    record.user = 1000;
    record.comment = "a new one is ordered";
    EXPECT_EQ(describe(record),
              "The fan has stopped. (by user 1000, a new one is ordered)");
    record.message = "";
    EXPECT_EQ(describe(record), "by user 1000, a new one is ordered");
}

TEST(RecordDescription, SaysWhatElseIsKnown)
{
    HistoryRecord record = makeRecord("withdrawn", noon);
    record.process = "fand";
    record.pid = 12;
    record.missed = true;
    EXPECT_EQ(describe(record),
              "The fan has stopped. (with fand[12], found later)");
    EXPECT_EQ(describe({.kind = "log-cleared"}),
              "The System Event Log was cleared.");
    EXPECT_EQ(describe({.kind = "history-cleared"}),
              "The history was cleared.");
    EXPECT_EQ(describe({.kind = "attribute-changed", .comment = "a = 1"}),
              "a = 1");
    EXPECT_EQ(describe({.kind = "of-a-later-version"}), "");
}

TEST(RecordJson, HasAllMembers)
{
    HistoryRecord record = makeCleared();
    record.sequence = 7;
    record.time = 1'763'892'000'042;
    record.args = {"one"};
    record.sensorPath = "/sensors/fan";
    record.sensorNumber = 8;
    record.sensorType = 4;
    record.process = "fand";
    record.pid = 12;
    record.user = 0;
    record.missed = true;
    record.comment = "c";
    EXPECT_EQ(toJson(record),
              nlohmann::ordered_json(
                  {{"sequence", 7},
                   {"time", "2025-11-23T10:00:00.042Z"},
                   {"timestampMs", 1'763'892'000'042},
                   {"kind", "cleared"},
                   {"component", "/com/vexa/olvar/health/fan"},
                   {"path", "/com/vexa/olvar/health/fan/entry/1"},
                   {"severity", "critical"},
                   {"messageId", "Fan.1.0.Stopped"},
                   {"message", "The fan has stopped."},
                   {"args", nlohmann::ordered_json::array({"one"})},
                   {"sensorPath", "/sensors/fan"},
                   {"sensorNumber", 8},
                   {"sensorType", 4},
                   {"process", "fand"},
                   {"processId", 12},
                   {"user", 0},
                   {"lastedMs", 3000},
                   {"occurrence", 2},
                   {"missed", true},
                   {"comment", "c"}}));
}

TEST(RecordJson, HasNullForWhatIsNotKnown)
{
    const auto json = toJson(HistoryRecord{.kind = "log-cleared"});
    for (const char* name :
         {"component", "path", "severity", "messageId", "message", "sensorPath",
          "sensorNumber", "sensorType", "process", "processId", "user",
          "lastedMs", "occurrence", "comment"})
    {
        EXPECT_TRUE(json.at(name).is_null()) << name;
    }
}

TEST(RecordJson, TakesAnyTime)
{
    HistoryRecord record;
    record.time = INT64_MAX;
    EXPECT_EQ(toJson(record)["time"], "9223372036854775");
    record.time = INT64_MIN;
    EXPECT_EQ(toJson(record)["time"], "1970-01-01T00:00:00.000Z");
}

} // namespace
} // namespace healthintf::healthctl
