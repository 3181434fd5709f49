// SPDX-License-Identifier: Apache-2.0
#include "file_content.hpp"
#include "silences.hpp"
#include "temporary_folder.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace healthintf::healthmgr
{
namespace
{

using std::chrono::seconds;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr int64_t second = 1'000'000;
constexpr int64_t start = 1'763'900'000;

SilenceTarget fan(int number)
{
    return {.key = "/com/vexa/olvar/health/fan" + std::to_string(number),
            .sensorPath = "",
            .sensorNumber = 0};
}

class SilencesTest : public testing::Test
{
  protected:
    /** The silences as the next healthmgr has them. */
    Silences reopen()
    {
        return {file,
                {.boot = boot,
                 .wall =
                     [this] {
                         return wall;
                     },
                 .sinceBoot =
                     [this] {
                         return sinceBoot;
                     }}};
    }

    void pass(int64_t time)
    {
        wall += time * second;
        sinceBoot += time * second;
    }

    /** Stops the machine for a time and starts it. */
    void reboot(int64_t time)
    {
        boot += "'";
        wall += time * second;
        sinceBoot = second;
    }

    uint64_t add(uint32_t length, int number = 1, uint32_t user = 0)
    {
        const auto id = silences.add(fan(number), length, "why", user);
        return id.value_or(0);
    }

    /** The numbers of those whose time has come. */
    static std::vector<uint64_t> expired(Silences& of)
    {
        std::vector<uint64_t> ids;
        for (const auto& [id, silence] : of.endExpired())
        {
            ids.push_back(id);
        }
        return ids;
    }

    test::TemporaryFolder folder;
    const std::filesystem::path file = folder.path() / "made" / "s.toml";
    std::string boot = "boot";
    int64_t wall = start * second;
    int64_t sinceBoot = 100 * second;
    Silences silences = reopen();
};

TEST_F(SilencesTest, AreNumberedFromOne)
{
    EXPECT_EQ(add(60), 1U);
    EXPECT_EQ(add(60), 2U);
    silences.end(2);
    EXPECT_EQ(add(60), 3U) << "a number is not used again";
    silences.end(3);
    silences.save();
    silences = reopen();
    EXPECT_EQ(add(60), 4U);
}

TEST_F(SilencesTest, SayWhenTheyBeganAndEnd)
{
    add(60);
    const Silence silence = silences.all().at(1);
    EXPECT_EQ(silence.since(), start);
    EXPECT_EQ(silence.until, start + 60);
    EXPECT_EQ(silence.target, fan(1));
    EXPECT_EQ(silence.comment, "why");
}

TEST_F(SilencesTest, EndWhenTheirTimeHasCome)
{
    add(60);
    add(30, 2);
    EXPECT_EQ(silences.untilNext(), seconds(30));
    pass(29);
    EXPECT_THAT(expired(silences), IsEmpty());
    pass(1);
    EXPECT_THAT(expired(silences), ElementsAre(2));
    EXPECT_EQ(silences.untilNext(), seconds(30));
    pass(100);
    EXPECT_EQ(silences.untilNext(), seconds(0));
    EXPECT_THAT(expired(silences), ElementsAre(1));
    EXPECT_TRUE(silences.empty());
    EXPECT_EQ(silences.untilNext(), std::nullopt);
}

TEST_F(SilencesTest, EndOnce)
{
    add(60);
    EXPECT_EQ(silences.end(1)->target, fan(1));
    EXPECT_EQ(silences.end(1), std::nullopt);
    EXPECT_EQ(silences.end(2), std::nullopt);
}

TEST_F(SilencesTest, KnowWhetherOneHasATarget)
{
    add(60);
    add(60);
    silences.end(1);
    EXPECT_TRUE(silences.has(fan(1))) << "the second one";
    EXPECT_FALSE(silences.has(fan(2)));
    silences.end(2);
    EXPECT_FALSE(silences.has(fan(1)));
}

TEST_F(SilencesTest, AreTheSameForTheNextManager)
{
    add(60);
    add(60, 2);
    silences.end(1);
    silences.save();
    Silences next = reopen();
    EXPECT_EQ(next.all(), silences.all());
    pass(60);
    EXPECT_THAT(expired(next), ElementsAre(2));
}

TEST_F(SilencesTest, EndWhileNoManagerRuns)
{
    add(60);
    silences.save();
    pass(61);
    Silences next = reopen();
    EXPECT_THAT(expired(next), ElementsAre(1));
    next.save();
    EXPECT_TRUE(reopen().empty());
}

TEST_F(SilencesTest, LastAsLongHoweverTheClockIsSet)
{
    for (const int64_t jump : {-1'000'000, 1'000'000})
    {
        const uint64_t id = add(60);
        pass(20);
        wall += jump * second;
        EXPECT_EQ(silences.untilNext(), seconds(40));
        EXPECT_EQ(silences.withPresentEnds().at(id).until, wall / second + 40);
        silences.save();
        EXPECT_EQ(reopen().untilNext(), seconds(40));
        silences.end(id);
    }
}

TEST_F(SilencesTest, EndByTheTimeOfDayAfterABoot)
{
    add(600);
    silences.save();
    pass(100);
    reboot(300);
    EXPECT_EQ(reopen().untilNext(), seconds(200));
    silences = reopen();
    silences.save();
    pass(150);
    EXPECT_EQ(reopen().untilNext(), seconds(50)) << "of the same boot";
    reboot(50);
    silences = reopen();
    EXPECT_THAT(expired(silences), ElementsAre(1));
}

TEST_F(SilencesTest, EndByTheClockAsItWasSetBeforeABoot)
{
    wall = 0;
    add(600);
    wall = start * second;
    silences.save();
    reboot(100);
    EXPECT_EQ(reopen().untilNext(), seconds(500));
}

TEST_F(SilencesTest, EndInTimeWhenTheClockIsSetLongAfterABoot)
{
    add(600);
    silences.save();
    const int64_t right = wall + 300 * second;
    reboot(0);
    wall = 0;
    silences = reopen();
    silences.save();
    EXPECT_EQ(silences.untilNext(), seconds(600)) << "its length at most";
    pass(100);
    EXPECT_EQ(reopen().untilNext(), seconds(500)) << "of the same boot";
    EXPECT_EQ(silences.withPresentEnds().at(1).until, 600) << "as it is now";
    wall = right;
    EXPECT_EQ(silences.untilNext(), seconds(300));
}

TEST_F(SilencesTest, AreLimitedForEachUser)
{
    for (std::size_t i = 0; i < Silences::mostOfOneUser; ++i)
    {
        EXPECT_NE(add(60, 1, 1000), 0U);
    }
    EXPECT_EQ(add(60, 1, 1000), 0U);
    EXPECT_NE(add(60, 1, 1001), 0U);
    silences.end(1);
    EXPECT_NE(add(60, 1, 1000), 0U);
}

TEST_F(SilencesTest, AreLimitedInAll)
{
    for (std::size_t i = 0; i < Silences::most; ++i)
    {
        EXPECT_NE(add(60, 1, static_cast<uint32_t>(i)), 0U);
    }
    EXPECT_EQ(add(60, 1, 5000), 0U);
    silences.save();
    EXPECT_EQ(reopen().all().size(), Silences::most);
}

TEST_F(SilencesTest, AreWrittenOnlyWhenTheyChanged)
{
    silences.save();
    EXPECT_FALSE(exists(file));
    add(60);
    silences.save();
    std::filesystem::remove(file);
    pass(10);
    silences.save();
    EXPECT_FALSE(exists(file));
    wall += 2 * second;
    silences.save();
    EXPECT_TRUE(exists(file)) << "the clock was set";
}

TEST_F(SilencesTest, BeginAnewBesideADamagedFile)
{
    std::filesystem::create_directory(file.parent_path());
    folder.write("made/s.toml", "damaged");
    testing::internal::CaptureStderr();
    Silences next = reopen();
    EXPECT_THAT(testing::internal::GetCapturedStderr(),
                HasSubstr("the silences cannot be read: "));
    EXPECT_TRUE(next.empty());
    EXPECT_EQ(test::readContent(file.string() + ".damaged"), "damaged");
}

} // namespace
} // namespace healthintf::healthmgr
