#include "directories.hpp"

#include <gtest/gtest.h>

#include <unistd.h>

#include <cstdlib>
#include <stdexcept>

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
    if (geteuid() == 0)
    {
        GTEST_SKIP() << "root needs no session";
    }
    unsetenv("HEALTHINTF_RUNTIME_DIR");
    unsetenv("XDG_RUNTIME_DIR");
    EXPECT_THROW(runtimeDirectory(), std::runtime_error);
}

} // namespace
} // namespace healthintf::host
