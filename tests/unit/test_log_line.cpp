// SPDX-License-Identifier: Apache-2.0
#include "log_line.hpp"
#include "recording_platform.hpp"

#include <gtest/gtest.h>

namespace health_namespace::details
{
namespace
{

using healthintf::test::journal;
using healthintf::test::resetPlatform;
using Lines = std::vector<std::string>;

TEST(LogLine, FillsInFileFunctionAndModule)
{
    resetPlatform();
    HMI_LOG(log::progress, "%s.%d.%s: number %d", 5);
    HMI_LOG(log::error, "%s.%d.%s: alone");
    EXPECT_EQ(journal().take(),
              (Lines{"log 7 271 test_log_line.#.TestBody: number 5",
                     "log 1 271 test_log_line.#.TestBody: alone"}));
}

TEST(LogLine, TakesAnotherFunctionsName)
{
    resetPlatform();
    HMI_LOG_AS("other", log::trace, "%s.%d.%s Exit : ");
    EXPECT_EQ(journal().take(),
              Lines{"log 8 271 test_log_line.#.other Exit : "});
}

TEST(LogLine, CutsFolderAndSuffixOff)
{
    EXPECT_STREQ(log::baseName<"/a/b.c/hmi_health.cpp">, "hmi_health");
    EXPECT_STREQ(log::baseName<"plain">, "plain");
    EXPECT_STREQ(log::baseName<"../x/server.tail.hpp">, "server");
}

} // namespace
} // namespace health_namespace::details
