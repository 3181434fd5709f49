// SPDX-License-Identifier: Apache-2.0
#include "output/silence_output.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <cstdlib>
#include <ctime>
#include <optional>
#include <sstream>

namespace healthintf::healthctl
{
namespace
{

using testing::HasSubstr;

/** A silence of a user without a name. */
Silence makeSilence(const std::string& comment)
{
    Silence silence;
    silence.id = 3;
    silence.target.key = "/com/vexa/olvar/health/fan";
    silence.comment = comment;
    silence.user = 4'000'000'000;
    silence.since = 0;
    silence.until = 7200;
    return silence;
}

std::string written(void (*write)(const Context&, const Silences&),
                    const Silence& silence,
                    std::optional<std::size_t> width = {})
{
    setenv("TZ", "UTC0", 1);
    tzset();
    std::ostringstream out;
    const Context context{
        .out = out, .style = Style(false, true), .width = width};
    write(context, {silence});
    return out.str();
}

TEST(SilenceOutput, NamesItsTarget)
{
    EXPECT_EQ(targetInWords({"/com/vexa/olvar/health/fan", "", 0}), "fan");
    EXPECT_EQ(targetInWords({"", "/sensor", 0}), "sensor /sensor");
    EXPECT_EQ(targetInWords({"", "", 7}), "sensor number 7");
}

TEST(SilenceOutput, IsARowTheCommentAndTheBeginning)
{
    EXPECT_EQ(written(printSilences, makeSilence("why")),
              "3  fan  until 1970-01-01 02:00:00  by 4000000000\n"
              "   why\n"
              "   since 1970-01-01 00:00:00\n");
}

TEST(SilenceOutput, IsALineBelowFaults)
{
    EXPECT_EQ(written(writeSilences, makeSilence("why")),
              "silence 3 hides fan since 1970-01-01 00:00:00 until 1970-01-01 "
              "02:00:00 by 4000000000: why\n");
}

TEST(SilenceOutput, WrapsOnATerminal)
{
    const std::string lines =
        written(writeSilences, makeSilence(std::string(30, 'x')), 80);
    std::istringstream in(lines);
    int count = 0;
    for (std::string line; std::getline(in, line); ++count)
    {
        EXPECT_LE(line.size(), 80U);
    }
    EXPECT_EQ(count, 2);
}

TEST(SilenceOutput, EscapesControlCharacters)
{
    for (auto* write : {printSilences, writeSilences})
    {
        EXPECT_THAT(written(write, makeSilence("\x1b[2J")),
                    HasSubstr("\\x1b[2J"));
    }
}

TEST(SilenceOutput, HasEverythingInJson)
{
    const auto json = toJson(Silences{makeSilence("why")})[0];
    EXPECT_EQ(json["id"], 3);
    EXPECT_EQ(json["component"], "/com/vexa/olvar/health/fan");
    EXPECT_EQ(json["since"], "1970-01-01T00:00:00Z");
    EXPECT_EQ(json["until"], "1970-01-01T02:00:00Z");
    EXPECT_EQ(json["uid"], 4'000'000'000);
    EXPECT_EQ(json["user"], "4000000000");
    EXPECT_EQ(json.size(), 9U);
}

} // namespace
} // namespace healthintf::healthctl
