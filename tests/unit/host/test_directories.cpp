#include "child.hpp"
#include "directories.hpp"

#include <gtest/gtest.h>

#include <unistd.h>

#include <cstdlib>
#include <string>

namespace healthintf::host
{
namespace
{

TEST(RuntimeDirectory, IsTheOneThatTheEnvironmentNames)
{
    setenv("HEALTHINTF_RUNTIME_DIR", "/somewhere", 1);
    EXPECT_EQ(runtimeDirectory(), "/somewhere");
}

TEST(RuntimeDirectory, IsTheSystemsForRootAndTheSessionsForOthers)
{
    setenv("HEALTHINTF_RUNTIME_DIR", "", 1);
    setenv("XDG_RUNTIME_DIR", "/session", 1);
    EXPECT_EQ(runtimeDirectory(),
              geteuid() == 0 ? "/run/healthintf" : "/session/healthintf");
}

TEST(RuntimeDirectory, IsAnErrorWithoutASession)
{
    unsetenv("HEALTHINTF_RUNTIME_DIR");
    unsetenv("XDG_RUNTIME_DIR");
    std::string errors;
    EXPECT_EQ(test::inChild(
                  [] {
                      test::leaveRoot();
                      runtimeDirectory();
                      return 0;
                  },
                  &errors),
              125);
    EXPECT_EQ(errors, "no runtime folder: set HEALTHINTF_RUNTIME_DIR or "
                      "XDG_RUNTIME_DIR\n");
}

} // namespace
} // namespace healthintf::host
