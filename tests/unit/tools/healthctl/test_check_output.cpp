// SPDX-License-Identifier: Apache-2.0
#include "faults_at_hand.hpp"
#include "output/check_output.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <cstdint>
#include <optional>
#include <sstream>
#include <string>
#include <utility>

namespace healthintf::healthctl
{
namespace
{

using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

const std::string root = "/com/vexa/olvar/health";

Fault say(const std::string& message, const std::string& key = root + "/fan")
{
    FaultEntryProperties properties;
    properties.message = message;
    properties.messageID = "Test.1.0.Slow";
    properties.severity = 3;
    return {key + "/entry/x", FaultEntry_gen(std::move(properties))};
}

/** What is written of a report. */
std::string written(const CheckReport& report, bool json)
{
    std::ostringstream out;
    writeReport({.out = out, .width = std::nullopt, .json = json}, report);
    return out.str();
}

nlohmann::json documentOf(const CheckReport& report)
{
    return nlohmann::json::parse(written(report, true));
}

CheckReport report(CheckState state, uint32_t health)
{
    CheckReport made;
    made.source = "cache";
    made.component = ComponentCheck{};
    made.component->state = state;
    made.component->key = root + "/rack";
    made.component->health = health;
    return made;
}

CheckReport reportOf(const Fault& worst)
{
    CheckReport made = report(CheckState::warning, 3);
    made.component->faults.warning = 1;
    made.component->worst = worst;
    return made;
}

TEST(PluginLine, TellsOfAComponentWithoutFaults)
{
    EXPECT_EQ(pluginLine(report(CheckState::ok, 2)),
              "OK - rack: no visible fault | faults=0 critical=0 warning=0 "
              "ok=0 unknown=0 hidden=0 lost_monitors=0");
}

TEST(PluginLine, HasEveryNumberAndTheWorstFault)
{
    CheckReport full = reportOf(say("It is slow."));
    full.component->state = CheckState::critical;
    full.component->faults = {1, 2, 3, 4, 5, 6};
    EXPECT_EQ(pluginLine(full),
              "CRITICAL - rack: 10 visible faults, 5 hidden, 6 lost monitors; "
              "worst: fan: It is slow. | faults=10 critical=1 warning=2 ok=3 "
              "unknown=4 hidden=5 lost_monitors=6");
}

TEST(PluginLine, NamesAFaultWithoutATextByItsMessage)
{
    EXPECT_THAT(pluginLine(reportOf(say(""))),
                HasSubstr("; worst: fan: Test.1.0.Slow | "));
}

TEST(PluginLine, NamesWhatIsBadWithoutAFault)
{
    CheckReport bare = report(CheckState::critical, 4);
    bare.component->withoutFault = root + "/rack/psu";
    EXPECT_THAT(pluginLine(bare),
                StartsWith("CRITICAL - rack: no visible fault; rack/psu is "
                           "critical without a fault | "));
}

TEST(PluginLine, TellsWhyAComponentIsUnknownAndWhatIsKnown)
{
    CheckReport doubtful = reportOf(say("It is slow."));
    doubtful.why = "healthmgr does not run";
    EXPECT_THAT(pluginLine(doubtful),
                StartsWith("UNKNOWN - rack: healthmgr does not run; 1 visible "
                           "fault; worst: fan: It is slow. | faults=1 "));
}

TEST(PluginLine, HasNoNumbersWhenNothingIsKnown)
{
    CheckReport nothing;
    nothing.why = "nothing runs";
    EXPECT_EQ(pluginLine(nothing), "UNKNOWN - nothing runs");
}

TEST(PluginLine, TellsOfSilentProcesses)
{
    CheckReport incomplete = report(CheckState::ok, 2);
    incomplete.silent = 2;
    EXPECT_THAT(
        pluginLine(incomplete),
        StartsWith("OK - rack: no visible fault; silent processes: 2 | "));
}

TEST(PluginLine, HasNoCharacterOfOthersThatMeansSomething)
{
    const std::string line = pluginLine(
        reportOf(say("a|b=c'd\"e`f\ng\rh\x1b[2Ji\u2028j\xFFk | faults=9")));
    EXPECT_THAT(line, HasSubstr("fan: a b cdef g h\\x1b[2Ji\\u2028j?k   "
                                "faults 9 | faults=1 "));
    EXPECT_EQ(std::ranges::count(line, '|'), 1);
    EXPECT_EQ(std::ranges::count(line, '='), 7);
    CheckReport nothing;
    nothing.why = "no \"a|b=c\nd\"";
    EXPECT_EQ(pluginLine(nothing), "UNKNOWN - no a b c d");
}

TEST(PluginLine, KeepsATextOfTheLimitAndCutsALongerOne)
{
    const std::string limit(200, 'x');
    EXPECT_THAT(pluginLine(reportOf(say(limit))),
                HasSubstr("fan: " + limit + " | "));
    EXPECT_THAT(pluginLine(reportOf(say(limit + "x"))),
                HasSubstr("fan: " + std::string(197, 'x') + "... | "));
}

TEST(PluginLine, CutsATextBetweenCharacters)
{
    std::string text(196, 'x');
    for (int i = 0; i < 4; ++i)
    {
        text += "\u00e4";
    }
    EXPECT_THAT(pluginLine(reportOf(say(text))),
                HasSubstr("fan: " + std::string(196, 'x') + "... | "));
}

TEST(PluginLine, StaysBelow1024BytesWhateverOthersSay)
{
    // Combining characters take no column.
    std::string text;
    while (text.size() < 100'000)
    {
        text += "\u0301";
    }
    CheckReport longest = reportOf(say(text, root + std::string(500, 'k')));
    longest.component->key = root + "/" + std::string(500, 'r');
    longest.component->withoutFault = longest.component->key;
    longest.component->faults = {SIZE_MAX / 4, SIZE_MAX / 4, 1, 1,
                                 SIZE_MAX,     SIZE_MAX};
    longest.why = text;
    EXPECT_LT(pluginLine(longest).size(), 1024U);
}

TEST(CheckReport, IsWrittenAsOneLine)
{
    const std::string line = written(report(CheckState::ok, 2), false);
    EXPECT_THAT(line, EndsWith("lost_monitors=0\n"));
    EXPECT_EQ(std::ranges::count(line, '\n'), 1);
}

TEST(CheckReport, IsADocumentWithTheWholeText)
{
    const std::string text = "a|b=" + std::string(500, 'x');
    const auto document = documentOf(reportOf(say(text)));
    EXPECT_EQ(document["schema"], "healthctl.check/1");
    EXPECT_EQ(document["state"], "warning");
    EXPECT_EQ(document["source"], "cache");
    EXPECT_EQ(document["checked"]["component"], root + "/rack");
    EXPECT_EQ(document["checked"]["health"], "warning");
    EXPECT_EQ(document["checked"]["faults"]["visible"], 1);
    EXPECT_EQ(document["checked"]["worst"]["message"], text);
}

TEST(CheckReport, IsADocumentWhenNothingIsKnown)
{
    CheckReport nothing;
    nothing.why = "nothing runs";
    const auto document = documentOf(nothing);
    EXPECT_EQ(document["state"], "unknown");
    EXPECT_EQ(document["why"], "nothing runs");
    EXPECT_TRUE(document["source"].is_null());
    EXPECT_TRUE(document["checked"].is_null());
}

} // namespace
} // namespace healthintf::healthctl
