#include "file_content.hpp"
#include "script.hpp"
#include "temporary_folder.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

namespace healthintf::test
{
namespace
{

namespace fs = std::filesystem;

/** Notes how it is called. Its tests leave $CASES in the log $LOG and end with
 *  $STATUS. */
constexpr const char* fakeMeson = R"(#!/bin/sh
case $1 in
compile)
    echo "$*" >>calls
    ;;
*)
    echo "$1 $2 $3" >>calls
    ;;
esac
case $1 in
setup)
    mkdir -p "$2/meson-logs"
    touch "$2/build.ninja"
    ;;
test)
    if [ -n "$LOG" ]; then
        echo "<testsuite>$CASES</testsuite>" >"$3/meson-logs/$LOG"
    fi
    exit "$STATUS"
    ;;
esac
)";

/** The script in a project of its own, with a Meson that only pretends. */
class RunTests : public testing::Test
{
  protected:
    RunTests()
    {
        fs::create_directories(project.path() / "scripts/lib");
        for (const char* name : {"run-tests", "set-up", "count-tests"})
        {
            fs::copy_file(fs::path(SCRIPTS) / "lib" / name,
                          project.path() / "scripts/lib" / name);
        }
        const auto meson = project.write("bin/meson", fakeMeson);
        fs::permissions(meson, fs::perms::owner_all);
    }

    ScriptResult run(const std::string& log, const std::string& cases,
                     int status = 0,
                     const std::vector<std::string>& tests = {}) const
    {
        std::vector<std::string> command{
            project.path() / "scripts/lib/run-tests", "build", ""};
        command.insert(command.end(), tests.begin(), tests.end());
        return runScript(command, {"PATH=" + (project.path() / "bin").string() +
                                       ":" + std::getenv("PATH"),
                                   "LOG=" + log, "CASES=" + cases,
                                   "STATUS=" + std::to_string(status)});
    }

    std::string calls() const
    {
        return contentOf(project.path() / "calls");
    }

    const std::string passed = "<testcase classname=\"S\" name=\"A\"/>";
    TemporaryFolder project;
};

TEST_F(RunTests, SetsTheFolderUpOnceAndBuildsEachTime)
{
    EXPECT_EQ(run("testlog.junit.xml", passed).status, 0);
    EXPECT_EQ(run("testlog.junit.xml", passed).status, 0);
    EXPECT_EQ(calls(), "setup build -Dwerror=true\n"
                       "compile -C build\ntest -C build\n"
                       "compile -C build\ntest -C build\n");
}

TEST_F(RunTests, LeavesItToTheSelectedTestsWhatIsBuilt)
{
    EXPECT_EQ(run("testlog.junit.xml", passed, 0, {"--suite", "unit"}).status,
              0);
    EXPECT_EQ(calls(), "setup build -Dwerror=true\ntest -C build\n");
}

TEST_F(RunTests, CountsTheLogsOfThisRunAlone)
{
    EXPECT_EQ(run("testlog.junit.xml", passed + passed).output,
              "2 passed, 0 failed\n");
    EXPECT_EQ(run("testlog-valgrind.junit.xml", passed).output,
              "1 passed, 0 failed\n");
}

TEST_F(RunTests, FailsWithoutALogOfThisRun)
{
    run("testlog.junit.xml", passed);
    const ScriptResult result = run("", "");
    EXPECT_THAT(result.output, testing::EndsWith("0 passed, 1 failed\n"));
    EXPECT_NE(result.status, 0);
}

TEST_F(RunTests, FailsWhenACaseFailedOrWhenMesonDoes)
{
    const ScriptResult failed = run(
        "testlog.junit.xml",
        "<testcase classname=\"S\" name=\"B\"><failure/></testcase>" + passed);
    EXPECT_EQ(failed.output, "failed: S.B\n1 passed, 1 failed\n");
    EXPECT_NE(failed.status, 0);

    const ScriptResult crashed = run("testlog.junit.xml", passed, 3);
    EXPECT_EQ(crashed.output, "1 passed, 0 failed\n");
    EXPECT_EQ(crashed.status, 3);
}

} // namespace
} // namespace healthintf::test
