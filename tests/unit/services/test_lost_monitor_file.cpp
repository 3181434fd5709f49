// SPDX-License-Identifier: Apache-2.0
#include "common/config_table.hpp"
#include "lost_monitor_file.hpp"
#include "temporary_folder.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>

namespace healthintf::healthmgr
{
namespace
{

using testing::HasSubstr;
using testing::IsEmpty;

const std::string key = "/com/vexa/olvar/health/fan1";

class LostMonitorFile : public testing::Test
{
  protected:
    LostMonitorMap readBack(const std::string& text) const
    {
        return readLostMonitors(folder.write("lost-monitors.toml", text));
    }

    std::string refusal(const std::string& text) const
    {
        try
        {
            readBack(text);
            return "";
        }
        catch (const services::ConfigError& e)
        {
            return e.what();
        }
    }

    test::TemporaryFolder folder;
};

TEST_F(LostMonitorFile, KeepsWhatIsKnownOfEachMonitor)
{
    constexpr uint32_t largest = std::numeric_limits<uint32_t>::max();
    const LostMonitorMap monitors{{key,
                                   {.process = "fan \"daemon'",
                                    .pid = 812,
                                    .user = 1000,
                                    .faults = 3,
                                    .worst = 4}},
                                  {key + "/x",
                                   {.process = "",
                                    .pid = largest,
                                    .user = largest,
                                    .faults = 0,
                                    .worst = 0}}};
    EXPECT_EQ(readBack(formatLostMonitors(monitors)), monitors);
}

TEST_F(LostMonitorFile, MayBeWithoutMonitors)
{
    EXPECT_THAT(readBack(formatLostMonitors({})), IsEmpty());
}

TEST_F(LostMonitorFile, IsEmptyWhenItIsMissing)
{
    EXPECT_THAT(readLostMonitors(folder.path() / "missing"), IsEmpty());
}

TEST_F(LostMonitorFile, NamesTheLineThatIsDamaged)
{
    EXPECT_THAT(refusal("lost"), HasSubstr("lost-monitors.toml:1"));
    EXPECT_THAT(refusal("lost = []"), HasSubstr("lost: must be tables"));
    EXPECT_THAT(refusal("lost = 3"), HasSubstr("lost: must be tables"));
    EXPECT_THAT(refusal("[[lost]]\npid = 1"),
                HasSubstr("lost.component: must be a text"));
    EXPECT_THAT(refusal("[[lost]]\ncomponent = 'a'\npid = -1"),
                HasSubstr("lost-monitors.toml:3: lost.pid: must be a number"));
    EXPECT_THAT(refusal("[[lost]]\ncomponent = 'a'\nother = 1"),
                HasSubstr("lost.other: is no known key"));
}

TEST_F(LostMonitorFile, IsNoFolder)
{
    EXPECT_THROW(readLostMonitors(folder.path()), services::ConfigError);
}

} // namespace
} // namespace healthintf::healthmgr
