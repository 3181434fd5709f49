#include "script.hpp"
#include "temporary_folder.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace healthintf::test
{
namespace
{

using testing::HasSubstr;

class CountTests : public testing::Test
{
  protected:
    /** A log that holds these cases, or whatever else. */
    std::string log(const std::string& name, const std::string& cases) const
    {
        return folder.write(name, "<testsuites><testsuite name=\"S\">" + cases +
                                      "</testsuite></testsuites>");
    }

    /** A case whose element holds @p content. */
    static std::string oneCase(const std::string& name,
                               const std::string& content = "")
    {
        return "<testcase classname=\"S\" name=\"" + name + "\">" + content +
               "</testcase>";
    }

    static ScriptResult count(const std::vector<std::string>& files)
    {
        std::vector<std::string> command{SCRIPTS "/lib/count-tests"};
        command.insert(command.end(), files.begin(), files.end());
        return runScript(command);
    }

    TemporaryFolder folder;
};

TEST_F(CountTests, CountsTheCasesOfAllFiles)
{
    const ScriptResult result =
        count({log("a.xml", oneCase("A") + oneCase("B")),
               log("b.xml", oneCase("C"))});
    EXPECT_EQ(result.output, "3 passed, 0 failed\n");
    EXPECT_EQ(result.status, 0);
}

TEST_F(CountTests, NamesEachFailureAndFails)
{
    const ScriptResult result = count({log(
        "a.xml", oneCase("Good") + oneCase("Bad", "<failure message=\"m\"/>") +
                     oneCase("Worse", "<error message=\"m\"/>"))});
    EXPECT_EQ(result.output,
              "failed: S.Bad\nfailed: S.Worse\n1 passed, 2 failed\n");
    EXPECT_EQ(result.status, 1);
}

TEST_F(CountTests, NamesWhatWasSkippedAndCountsItNeitherWay)
{
    const ScriptResult result = count(
        {log("a.xml",
             oneCase("Good") +
                 oneCase("Left", "<skipped message=\"file.cpp:1&#x0A;why\"/>") +
                 "<testcase classname=\"S\" name=\"DISABLED_Off\" "
                 "status=\"notrun\" result=\"suppressed\"/>")});
    EXPECT_EQ(result.output, "skipped: S.Left file.cpp:1 why\n"
                             "skipped: S.DISABLED_Off\n"
                             "1 passed, 0 failed\n");
    EXPECT_EQ(result.status, 0);
}

TEST_F(CountTests, FailsWhenNoCaseRan)
{
    for (const std::vector<std::string>& files :
         {std::vector<std::string>{},
          {log("a.xml", "")},
          {log("b.xml", oneCase("Left", "<skipped/>"))}})
    {
        const ScriptResult result = count(files);
        EXPECT_THAT(result.output, HasSubstr("0 passed, 0 failed\n"));
        EXPECT_EQ(result.status, 1);
    }
}

TEST_F(CountTests, CountsAFileThatItCannotReadAsFailed)
{
    const std::string broken = folder.write("broken.xml", "<testsuites>");
    const std::string gone = folder.path() / "gone.xml";
    const ScriptResult result =
        count({log("a.xml", oneCase("Good")), broken, gone});
    EXPECT_THAT(result.output, HasSubstr("failed: " + broken + ": "));
    EXPECT_THAT(result.output, HasSubstr("failed: " + gone + ": "));
    EXPECT_THAT(result.output, testing::EndsWith("\n1 passed, 2 failed\n"));
    EXPECT_EQ(result.status, 1);
}

} // namespace
} // namespace healthintf::test
