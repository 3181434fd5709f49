// SPDX-License-Identifier: Apache-2.0
#include "child.hpp"
#include "common/standard_streams.hpp"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <string>

namespace healthintf::services
{
namespace
{

TEST(StandardStreams, ThatAreClosedAreNotTakenByTheNextFile)
{
    EXPECT_EQ(test::inChild([] {
                  close(STDIN_FILENO);
                  close(STDOUT_FILENO);
                  close(STDERR_FILENO);
                  fillStandardStreams();
                  return open("/dev/null", O_RDWR) > STDERR_FILENO ? 0 : 1;
              }),
              0);
}

TEST(StandardStreams, ThatAreClosedRefuseOutput)
{
    EXPECT_EQ(test::inChild([] {
                  close(STDOUT_FILENO);
                  fillStandardStreams();
                  return write(STDOUT_FILENO, "x", 1) < 0 ? errno : 0;
              }),
              EBADF);
}

TEST(StandardStreams, ThatAreOpenStayAsTheyAre)
{
    std::string errors;
    EXPECT_EQ(test::inChild(
                  [] {
                      close(STDIN_FILENO);
                      fillStandardStreams();
                      return write(STDERR_FILENO, "a line", 6) == 6 ? 0 : 1;
                  },
                  &errors),
              0);
    EXPECT_EQ(errors, "a line");
}

} // namespace
} // namespace healthintf::services
