// SPDX-License-Identifier: Apache-2.0
#include "file_content.hpp"
#include "lost_monitors.hpp"
#include "temporary_folder.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace healthintf::healthmgr
{
namespace
{

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

const std::string root = "/com/vexa/olvar/health";

class LostMonitorsTest : public testing::Test
{
  protected:
    static host::LeftNode node(const std::string& name, uint32_t worst = 0,
                               uid_t user = 0)
    {
        return {.key = root + "/" + name,
                .owner = {.pid = 812, .startTime = 1},
                .segment = "812",
                .process = "fan-daemon",
                .user = user,
                .isPlaceholder = false,
                .faults = worst == 0 ? 0U : 1U,
                .worst = worst};
    }

    /** So many nodes of a user's process. */
    static std::vector<host::LeftNode> makeNodes(const std::string& name,
                                                 std::size_t count, uid_t user)
    {
        std::vector<host::LeftNode> nodes;
        for (std::size_t i = 0; i < count; ++i)
        {
            nodes.push_back(node(name + std::to_string(i), 0, user));
        }
        return nodes;
    }

    LostMonitors reopen(const std::string& config = "") const
    {
        return {file, parseConfig(config, "healthmgr.toml")};
    }

    test::TemporaryFolder folder;
    const std::filesystem::path file = folder.path() / "made" / "lost.toml";
    LostMonitors monitors = reopen();
};

TEST_F(LostMonitorsTest, RememberWhichProcessHeldWhat)
{
    EXPECT_THAT(monitors.add({node("a", 4)}), ElementsAre(root + "/a"));
    const LostMonitor* found = monitors.find(root + "/a");
    ASSERT_NE(found, nullptr);
    EXPECT_EQ(*found, (LostMonitor{.process = "fan-daemon",
                                   .pid = 812,
                                   .user = 0,
                                   .faults = 1,
                                   .worst = 4}));
    EXPECT_EQ(monitors.find(root + "/b"), nullptr);
}

TEST_F(LostMonitorsTest, AreTheSameForTheNextManager)
{
    monitors.add({node("a", 4), node("b")});
    monitors.remove(root + "/b");
    monitors.save();
    EXPECT_EQ(reopen().all(), monitors.all());
    monitors.remove(root + "/a");
    monitors.save();
    EXPECT_THAT(reopen().all(), IsEmpty());
}

TEST_F(LostMonitorsTest, AreWrittenOnlyWhenTheyChanged)
{
    monitors.save();
    EXPECT_FALSE(exists(file));
    monitors.add({node("a")});
    monitors.save();
    std::filesystem::remove(file);
    monitors.save();
    EXPECT_FALSE(exists(file));
}

TEST_F(LostMonitorsTest, AreWrittenLaterWhenThatFailed)
{
    const auto blocked = folder.write("made", "no folder");
    monitors.add({node("a")});
    testing::internal::CaptureStderr();
    monitors.save();
    monitors.save();
    const std::string lines = testing::internal::GetCapturedStderr();
    EXPECT_THAT(lines, HasSubstr("unable to write the lost monitors"));
    EXPECT_EQ(lines.find('\n'), lines.size() - 1) << "once";
    std::filesystem::remove(blocked);
    monitors.save();
    EXPECT_EQ(reopen().all(), monitors.all());
}

TEST_F(LostMonitorsTest, LeaveOutPlaceholdersAndWhatIsNoKey)
{
    auto placeholder = node("a");
    placeholder.isPlaceholder = true;
    auto stranger = node("b");
    stranger.key = "/elsewhere";
    EXPECT_THAT(monitors.add({placeholder, stranger}), IsEmpty());
    EXPECT_THAT(monitors.all(), IsEmpty());
}

TEST_F(LostMonitorsTest, FollowTheConfiguration)
{
    monitors.add({node("fans/f"), node("psu")});
    monitors.save();
    EXPECT_THAT(reopen("report-lost-monitors = false").all(), IsEmpty());
    const LostMonitors fans =
        reopen("lost-monitor-components = ['" + root + "/fans']");
    EXPECT_NE(fans.find(root + "/fans/f"), nullptr);
    EXPECT_EQ(fans.find(root + "/psu"), nullptr);
}

TEST_F(LostMonitorsTest, RememberTheWorstOfSeveralThatHadAComponent)
{
    EXPECT_THAT(monitors.add({node("a", 3), node("a", 4), node("a")}),
                ElementsAre(root + "/a"));
    EXPECT_EQ(monitors.find(root + "/a")->worst, 4U);
}

TEST_F(LostMonitorsTest, RememberTheLastThatWasLost)
{
    monitors.add({node("a", 4)});
    EXPECT_THAT(monitors.add({node("a", 3)}), ElementsAre(root + "/a"));
    EXPECT_EQ(monitors.find(root + "/a")->worst, 3U);
}

TEST_F(LostMonitorsTest, BoundAHealthThatIsNone)
{
    monitors.add({node("a", 4'000'000'000)});
    EXPECT_EQ(monitors.find(root + "/a")->worst, 4U);
}

TEST_F(LostMonitorsTest, AreLimitedForEachUser)
{
    constexpr std::size_t most = LostMonitors::mostOfOneUser;
    EXPECT_EQ(monitors.add(makeNodes("a", most, 1000)).size(), most);
    testing::internal::CaptureStderr();
    EXPECT_THAT(monitors.add({node("more", 4, 1000)}), IsEmpty());
    EXPECT_THAT(testing::internal::GetCapturedStderr(),
                HasSubstr("1 more components have lost their monitors"));
    EXPECT_EQ(monitors.add({node("a0", 4, 1000)}).size(), 1U)
        << "it was there before";
    EXPECT_EQ(monitors.add({node("other", 0, 1001)}).size(), 1U);
}

TEST_F(LostMonitorsTest, AreLimitedInAll)
{
    constexpr std::size_t ofOne = LostMonitors::mostOfOneUser;
    constexpr uid_t users = LostMonitors::most / ofOne;
    for (uid_t user = 0; user < users; ++user)
    {
        const std::string name = "u" + std::to_string(user) + "_";
        EXPECT_EQ(monitors.add(makeNodes(name, ofOne, user)).size(), ofOne);
    }
    EXPECT_THAT(monitors.add({node("more", 4, users)}), IsEmpty());
}

TEST_F(LostMonitorsTest, RememberTheWorstWhenThereAreTooMany)
{
    auto nodes = makeNodes("a", LostMonitors::mostOfOneUser, 1000);
    nodes.push_back(node("worst", 4, 1000));
    monitors.add(nodes);
    EXPECT_NE(monitors.find(root + "/worst"), nullptr);
}

TEST_F(LostMonitorsTest, BeginAnewBesideADamagedFile)
{
    std::filesystem::create_directory(file.parent_path());
    folder.write("made/lost.toml", "damaged");
    testing::internal::CaptureStderr();
    LostMonitors next = reopen();
    EXPECT_THAT(testing::internal::GetCapturedStderr(),
                HasSubstr("the lost monitors cannot be read: "));
    EXPECT_THAT(next.all(), IsEmpty());
    EXPECT_EQ(test::readContent(file.string() + ".damaged"), "damaged");
    next.add({node("a")});
    next.save();
    EXPECT_EQ(reopen().all(), next.all());
}

TEST_F(LostMonitorsTest, LeaveOutWhatIsNoKeyInTheFile)
{
    std::filesystem::create_directory(file.parent_path());
    folder.write("made/lost.toml", formatLostMonitors({{"/elsewhere", {}}}));
    EXPECT_THAT(reopen().all(), IsEmpty());
}

} // namespace
} // namespace healthintf::healthmgr
