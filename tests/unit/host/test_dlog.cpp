// SPDX-License-Identifier: Apache-2.0
#include "child.hpp"

#include <platform/dlog.h>

#include <gtest/gtest.h>

#include <cstdlib>

namespace healthintf::host
{
namespace
{

using test::inChild;

/** The output of a process that logs one line at each level. */
std::string logged(const char* threshold)
{
    setenv("HEALTHINTF_LOG_LEVEL", threshold, 1);
    unsetenv("JOURNAL_STREAM");
    std::string errors;
    EXPECT_EQ(inChild(
                  [] {
                      for (const int level : {1, 2, 5, 7, 8, 9})
                      {
                          if (dlog_printf(level, 271, "%s.%d.%s: level %d\n",
                                          "file", 1, "function", level) != 0)
                          {
                              return 1;
                          }
                      }
                      return 0;
                  },
                  &errors),
              0);
    return errors;
}

TEST(Dlog, WritesLinesUpToItsThreshold)
{
    const std::string program = program_invocation_short_name;
    EXPECT_EQ(logged("5"),
              program + ": error: file.1.function: level 1\n" + program +
                  ": warning: file.1.function: level 2\n" + program +
                  ": notice: file.1.function: level 5\n");
}

TEST(Dlog, WritesNothingAtTheLowestThreshold)
{
    EXPECT_EQ(logged("0"), "");
}

TEST(Dlog, WritesEverythingAtTheHighest)
{
    const std::string all = logged("9");
    EXPECT_EQ(std::count(all.begin(), all.end(), '\n'), 6);
}

} // namespace
} // namespace healthintf::host
