// SPDX-License-Identifier: Apache-2.0
#include "silence.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace healthintf::healthmgr
{
namespace
{

using testing::HasSubstr;

const std::string key = "/com/vexa/olvar/health/fan1";

SilenceTarget target(const std::string& ofKey, const std::string& path = "",
                     uint32_t number = 0)
{
    return {.key = ofKey, .sensorPath = path, .sensorNumber = number};
}

Silence silence(uint32_t seconds, const std::string& comment)
{
    Silence made;
    made.target = target(key);
    made.seconds = seconds;
    made.comment = comment;
    return made;
}

TEST(Silence, HasOneTarget)
{
    EXPECT_EQ(explainInvalidTarget(target(key)), "");
    EXPECT_EQ(explainInvalidTarget(target("", "any sensor")), "");
    EXPECT_EQ(explainInvalidTarget(target("", "", 1)), "");
    for (const auto& bad : {target(""), target(key, "/s"), target(key, "", 1),
                            target("", "/s", 1), target(key, "/s", 1)})
    {
        EXPECT_THAT(explainInvalidTarget(bad), HasSubstr("of one component"));
    }
}

TEST(Silence, IsOfAKey)
{
    EXPECT_EQ(explainInvalidTarget(target("/com/vexa/olvar/health")), "");
    EXPECT_THAT(explainInvalidTarget(target("/elsewhere")),
                HasSubstr("this is no component: "));
}

TEST(Silence, IsOfASensorThatComponentsObey)
{
    EXPECT_EQ(
        explainInvalidTarget(target("", std::string(maxSilencedPath, 'x'))),
        "");
    EXPECT_THAT(
        explainInvalidTarget(target("", std::string(maxSilencedPath + 1, 'x'))),
        HasSubstr("has 1025 bytes, more than 1024"));
    EXPECT_THAT(explainInvalidTarget(target("", "a\nb")),
                HasSubstr("cannot be printed"));
    EXPECT_EQ(explainInvalidTarget(target("", "", 0x7FFFFFFF)), "");
    EXPECT_THAT(explainInvalidTarget(target("", "", 0x80000000)),
                HasSubstr("at most 2147483647"));
}

TEST(Silence, HasABoundedLengthAndAComment)
{
    EXPECT_EQ(explainInvalidSilence(silence(1, "why")), "");
    EXPECT_EQ(explainInvalidSilence(silence(longestSilence, "why")), "");
    for (const uint32_t seconds : {0U, longestSilence + 1})
    {
        EXPECT_THAT(explainInvalidSilence(silence(seconds, "why")),
                    HasSubstr("1 second to 366 days"));
    }
    EXPECT_THAT(explainInvalidSilence(silence(1, "")), HasSubstr("comment"));
    EXPECT_THAT(explainInvalidSilence(Silence()), HasSubstr("component"));
}

TEST(Silence, CoversWhatItsTargetNames)
{
    const SilenceTarget fault = target(key, "/sensor", 7);
    EXPECT_TRUE(covers(target(key), fault));
    EXPECT_TRUE(covers(target("", "/sensor"), fault));
    EXPECT_TRUE(covers(target("", "", 7), fault));
    EXPECT_FALSE(covers(target(key + "/rotor"), fault)) << "a fault above it";
    EXPECT_FALSE(covers(target("/com/vexa/olvar/health"), fault)) << "below it";
    EXPECT_FALSE(covers(target("", "/other"), fault));
    EXPECT_FALSE(covers(target("", "", 8), fault));
}

TEST(Silence, FindsTheComponentOfAFault)
{
    EXPECT_EQ(componentOf(key + "/entry/Fault_0001_4"), key);
    EXPECT_EQ(componentOf("/no/entry"), "/no/entry");
}

TEST(Silence, NamesItsTarget)
{
    EXPECT_EQ(describe(target(key)), key);
    EXPECT_EQ(describe(target("", "/sensor")), "sensor /sensor");
    EXPECT_EQ(describe(target("", "", 7)), "sensor number 7");
}

} // namespace
} // namespace healthintf::healthmgr
