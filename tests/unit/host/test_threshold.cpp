// SPDX-License-Identifier: Apache-2.0
#include "child.hpp"
#include "dlog/threshold.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <unistd.h>

#include <array>
#include <cstdlib>

namespace healthintf::host
{
namespace
{

using test::inChild;

TEST(LogLevel, IsOneDigit)
{
    EXPECT_EQ(parseLogLevel("0"), 0);
    EXPECT_EQ(parseLogLevel("7"), 7);
    EXPECT_EQ(parseLogLevel("9"), 9);
}

TEST(LogLevel, RefusesEverythingElse)
{
    for (const char* text : {"", "10", "-1", "a", " 1", "1 ", "/", ":"})
    {
        EXPECT_EQ(parseLogLevel(text), std::nullopt) << text;
    }
}

TEST(LogThreshold, ComesFromTheEnvironment)
{
    setenv("HEALTHINTF_LOG_LEVEL", "8", 1);
    EXPECT_EQ(inChild([] {
                  return logThreshold();
              }),
              8);
    unsetenv("HEALTHINTF_LOG_LEVEL");
    EXPECT_EQ(inChild([] {
                  return logThreshold();
              }),
              defaultLogLevel);
}

TEST(LogThreshold, IsTheDefaultForAWrongLevelAndReportsIt)
{
    setenv("HEALTHINTF_LOG_LEVEL", "loud", 1);
    std::string errors;
    EXPECT_EQ(inChild(
                  [] {
                      return logThreshold();
                  },
                  &errors),
              defaultLogLevel);
    EXPECT_EQ(errors,
              "HEALTHINTF_LOG_LEVEL=loud is no level from 0 to 9, using 4\n");
}

TEST(LogThreshold, EndsNoProcessWhenNobodyReadsItsReport)
{
    setenv("HEALTHINTF_LOG_LEVEL", "loud", 1);
    EXPECT_EQ(inChild([] {
                  std::array<int, 2> ends{};
                  const bool made = pipe(ends.data()) == 0;
                  close(ends[0]);
                  dup2(ends[1], STDERR_FILENO);
                  return made ? logThreshold() : -1;
              }),
              defaultLogLevel);
}

} // namespace
} // namespace healthintf::host
