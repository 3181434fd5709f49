// SPDX-License-Identifier: Apache-2.0
#include "config_refusal.hpp"
#include "lost_monitor_file.hpp"

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
    static LostMonitorMap readBack(const std::string& text)
    {
        return parseLostMonitors(text, "lost-monitors.toml");
    }

    static std::string refusal(const std::string& text)
    {
        return test::catchConfigError([&] {
            readBack(text);
        });
    }
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

} // namespace
} // namespace healthintf::healthmgr
