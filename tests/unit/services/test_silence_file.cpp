// SPDX-License-Identifier: Apache-2.0
#include "comment.hpp"
#include "config_refusal.hpp"
#include "silence_file.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>

namespace healthintf::healthmgr
{
namespace
{

using testing::HasSubstr;

const std::string key = "/com/vexa/olvar/health/fan1";

Silence sensorSilence()
{
    return {.target = {.key = "", .sensorPath = "/sensor", .sensorNumber = 0},
            .comment = "\"quoted\" and 'so'",
            .user = std::numeric_limits<uint32_t>::max(),
            .seconds = longestSilence,
            .until = 1'763'900'000,
            .boot = "b1",
            .ends = 31'622'400'000'001,
            .byWall = true};
}

KeptSilences parse(const std::string& text)
{
    return parseSilences(text, "silences.toml");
}

std::string refusal(const std::string& text)
{
    return test::catchConfigError([&] {
        parse(text);
    });
}

TEST(SilenceFile, KeepsWhatIsKnownOfEachSilence)
{
    Silence component = sensorSilence();
    component.target = {.key = key, .sensorPath = "", .sensorNumber = 0};
    component.byWall = false;
    Silence number = sensorSilence();
    number.target = {.key = "", .sensorPath = "", .sensorNumber = 48};
    const KeptSilences kept{
        .last = 9,
        .silences = {{1, component}, {2, sensorSilence()}, {7, number}}};
    EXPECT_EQ(parse(formatSilences(kept)), kept);
}

TEST(SilenceFile, KeepsTheLastNumberWithoutSilences)
{
    const KeptSilences kept{.last = 9, .silences = {}};
    EXPECT_EQ(parse(formatSilences(kept)), kept);
    EXPECT_EQ(parse(""), KeptSilences());
}

TEST(SilenceFile, GivesNoNumberAgainThatASilenceHas)
{
    KeptSilences kept{.last = 3, .silences = {{7, sensorSilence()}}};
    EXPECT_EQ(parse(formatSilences(kept)).last, 7U);
}

TEST(SilenceFile, HoldsTheMostOfTheLargest)
{
    Silence large = sensorSilence();
    large.target.sensorPath = std::string(maxSilencedPath, '"');
    large.comment = std::string(maxComment, '\\');
    KeptSilences kept;
    for (kept.last = 0; kept.last < KeptSilences::most;)
    {
        kept.silences[++kept.last] = large;
    }
    const std::string text = formatSilences(kept);
    EXPECT_LT(text.size(), 1U << 20U) << "more is not read";
    EXPECT_EQ(parse(text), kept);
    kept.silences[++kept.last] = large;
    EXPECT_THAT(refusal(formatSilences(kept)),
                HasSubstr("more silences than 256"));
}

TEST(SilenceFile, NamesTheLineThatIsDamaged)
{
    const std::string good =
        "[[silence]]\nid = 1\nsensor-number = 4\ncomment = 'c'\nseconds = 9\n";
    EXPECT_EQ(refusal(good), "read");
    EXPECT_THAT(refusal("silence"), HasSubstr("silences.toml:1"));
    EXPECT_THAT(refusal("silence = 3"), HasSubstr("silence: must be tables"));
    EXPECT_THAT(refusal("last = -1"), HasSubstr("last: must be a number"));
    EXPECT_THAT(refusal("[[silence]]\nseconds = 1"), HasSubstr("silence.id: "));
    EXPECT_THAT(refusal(good + "other = 1"),
                HasSubstr("silence.other: is no known key"));
    EXPECT_THAT(refusal(good + "component = '" + key + "'"),
                HasSubstr("silences.toml:2: silence.id: a silence is of one"));
    EXPECT_THAT(refusal(good + good),
                HasSubstr("silences.toml:7: silence.id: is there twice"));
}

} // namespace
} // namespace healthintf::healthmgr
