// SPDX-License-Identifier: Apache-2.0
#include "child.hpp"
#include "directories.hpp"

#include <gtest/gtest.h>

#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <stdexcept>
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

/** The error message that an unprivileged user gets. */
std::string makeError(std::filesystem::path (*directory)())
{
    std::string errors;
    EXPECT_EQ(test::inChild(
                  [directory] {
                      test::leaveRoot();
                      directory();
                      return 0;
                  },
                  &errors),
              125);
    return errors;
}

TEST(RuntimeDirectory, IsAnErrorWithoutASession)
{
    unsetenv("HEALTHINTF_RUNTIME_DIR");
    unsetenv("XDG_RUNTIME_DIR");
    EXPECT_EQ(makeError(runtimeDirectory),
              "no runtime folder: set HEALTHINTF_RUNTIME_DIR or "
              "XDG_RUNTIME_DIR\n");
}

class StateDirectory : public testing::Test
{
  protected:
    StateDirectory()
    {
        for (const char* name :
             {"HEALTHINTF_STATE_DIR", "XDG_STATE_HOME", "HOME"})
        {
            unsetenv(name);
        }
    }

    /** The folder of an unprivileged user. */
    static std::string ofAUser()
    {
        return makeError([]() -> std::filesystem::path {
            throw std::runtime_error(stateDirectory().string());
        });
    }
};

TEST_F(StateDirectory, IsTheOneThatTheEnvironmentNames)
{
    setenv("HEALTHINTF_STATE_DIR", "/somewhere", 1);
    setenv("XDG_STATE_HOME", "/states", 1);
    EXPECT_EQ(stateDirectory(), "/somewhere");
}

TEST_F(StateDirectory, IsTheSystemsForRoot)
{
    if (geteuid() != 0)
    {
        GTEST_SKIP() << "needs root";
    }
    setenv("HEALTHINTF_STATE_DIR", "", 1);
    setenv("XDG_STATE_HOME", "/states", 1);
    EXPECT_EQ(stateDirectory(), "/var/lib/healthintf");
}

TEST_F(StateDirectory, IsTheUsersForOthers)
{
    setenv("HOME", "/home/me", 1);
    EXPECT_EQ(ofAUser(), "/home/me/.local/state/healthintf\n");
    setenv("XDG_STATE_HOME", "/states", 1);
    EXPECT_EQ(ofAUser(), "/states/healthintf\n");
}

TEST_F(StateDirectory, IsAnErrorWithoutAHome)
{
    EXPECT_EQ(makeError(stateDirectory),
              "no state folder: set HEALTHINTF_STATE_DIR, XDG_STATE_HOME or "
              "HOME\n");
}

} // namespace
} // namespace healthintf::host
