// SPDX-License-Identifier: Apache-2.0
#include "child.hpp"
#include "process.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <cstdlib>
#include <stdexcept>
#include <string>

namespace healthintf::test
{
namespace
{

using testing::HasSubstr;

TEST(ProgramOfATest, AnswersLineByLine)
{
    Process cat({"cat"});
    EXPECT_EQ(cat.ask("one"), "one");
    cat.tell("two");
    cat.tell("three");
    EXPECT_EQ(cat.hear(), "two");
    cat.endInput();
    EXPECT_EQ(cat.output(), "three\n");
    EXPECT_EQ(cat.wait(), 0);
}

TEST(ProgramOfATest, EndsWithAStatusOrASignal)
{
    EXPECT_EQ(Process({"sh", "-c", "exit 7"}).wait(), 7);
    Process cat({"cat"});
    cat.signal(SIGTERM);
    EXPECT_EQ(cat.wait(), 128 + SIGTERM);
}

TEST(ProgramOfATest, HasTheEnvironmentOfTheTestWithChanges)
{
    setenv("KEPT", "old", 1);
    setenv("CHANGED", "old", 1);
    EXPECT_EQ(readOutput({"sh", "-c", "echo $KEPT $CHANGED $ADDED"},
                         {"CHANGED=new", "ADDED=too"}),
              "old new too\n");
}

TEST(ProgramOfATest, ReportsItsStandardErrorWhenItFails)
{
    try
    {
        readOutput({"sh", "-c", "echo cause >&2; exit 3"});
        ADD_FAILURE() << "it did not fail";
    }
    catch (const std::runtime_error& e)
    {
        EXPECT_THAT(e.what(), HasSubstr("sh exits with 3: cause"));
    }
    EXPECT_THROW(readOutput({"/nonexistent/program"}), std::runtime_error);
    EXPECT_THROW(Process({"true"}).hear(), std::runtime_error);
}

TEST(ProgramOfATest, IsWaitedForOnlyAsLongAsTheLimit)
{
    Process silent({"cat"}, {}, std::chrono::seconds(0));
    EXPECT_THROW(silent.hear(), std::runtime_error);
    EXPECT_THROW(silent.wait(), std::runtime_error);
    EXPECT_THROW(readOutput({"sleep", "60"}, {}, std::chrono::seconds(0)),
                 std::runtime_error);
}

TEST(ProgramOfATest, EndsWithItsObject)
{
    pid_t pid = 0;
    {
        Process cat({"cat"});
        cat.ask("running");
        pid = cat.pid();
    }
    EXPECT_TRUE(endsInTime(pid));
}

TEST(ProgramOfATest, EndsWithATestThatIsKilled)
{
    Child test([](const Child::Parent& parent) -> int {
        Process program({"sh", "-c", "echo running; exec sleep infinity"});
        program.hear();
        parent.tell(std::to_string(program.pid()));
        Child::Parent::waitForever();
    });
    const pid_t program = std::stoi(test.hear());
    EXPECT_EQ(kill(program, 0), 0);
    test.kill();
    EXPECT_TRUE(endsInTime(program));
}

} // namespace
} // namespace healthintf::test
