// SPDX-License-Identifier: Apache-2.0
#include "output/pager.hpp"
#include "temporary_folder.hpp"

#include <gtest/gtest.h>

#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

namespace healthintf::healthctl
{
namespace
{

constexpr std::size_t screen = 2;
const std::string text = "one\ntwo\nthree\n";

class Pager : public testing::Test
{
  protected:
    /** Shows a text with a pager whose output goes to a file.
     *
     *  @return what was written without the pager */
    std::string show(const std::string& shown, const std::string& pager) const
    {
        std::ostringstream out;
        showPaged(shown, pager.empty() ? "" : pager + " >" + file.string(),
                  screen, out);
        return out.str();
    }

    std::string paged() const
    {
        std::ostringstream content;
        content << std::ifstream(file).rdbuf();
        return content.str();
    }

    /** What the process does at the signals that a pager gets alone. */
    static std::vector<sighandler_t> interruptHandlers()
    {
        std::vector<sighandler_t> handlers;
        for (const int number : {SIGINT, SIGQUIT, SIGPIPE})
        {
            struct sigaction action
            {};
            sigaction(number, nullptr, &action);
            handlers.push_back(action.sa_handler);
        }
        return handlers;
    }

    test::TemporaryFolder folder;
    std::filesystem::path file = folder.path() / "paged";
};

TEST_F(Pager, GetsATextThatIsLongerThanTheScreen)
{
    EXPECT_EQ(show(text, "sed s/^/-/"), "");
    EXPECT_EQ(paged(), "-one\n-two\n-three\n");
}

TEST_F(Pager, IsNotStartedForATextThatFits)
{
    EXPECT_EQ(show("one\n", "cat"), "one\n");
    EXPECT_EQ(paged(), "");
}

TEST_F(Pager, IsNotNecessary)
{
    EXPECT_EQ(show(text, ""), text);
    EXPECT_EQ(show(text, "/nonexistent/pager 2>/dev/null"), text);
    EXPECT_EQ(show(text, "/dev/null 2>/dev/null"), text);
}

TEST_F(Pager, MayEndEarly)
{
    const std::string longText(1UL << 20, '\n');
    EXPECT_EQ(show(longText, "true"), "");
    EXPECT_EQ(show(longText, "false"), "");
    EXPECT_EQ(show(longText, "head -c 2"), "");
    EXPECT_EQ(paged(), "\n\n");
}

TEST_F(Pager, GetsTheInterruptsAlone)
{
    // Whoever runs the test may ignore some of them.
    const std::vector<sighandler_t> before = interruptHandlers();
    EXPECT_EQ(show(text, "kill -INT $PPID; kill -QUIT $PPID; cat"), "");
    EXPECT_EQ(paged(), text);
    EXPECT_EQ(interruptHandlers(), before);
}

TEST_F(Pager, HasTheDefaultsOfLessUnlessTheyAreSet)
{
    unsetenv("LESS");
    unsetenv("SUDO_UID");
    unsetenv("LESSSECURE");
    show(text, "echo $LESS $LESSSECURE");
    EXPECT_EQ(paged(), "FRX\n");
    setenv("LESS", "M", 1);
    setenv("SUDO_UID", "1000", 1);
    show(text, "echo $LESS $LESSSECURE");
    EXPECT_EQ(paged(), "M 1\n");
}

TEST_F(Pager, IsForTerminalsOnly)
{
    if (isatty(STDOUT_FILENO) != 0)
    {
        GTEST_SKIP() << "the output is a terminal";
    }
    setenv("HEALTHCTL_PAGER", "more", 1);
    EXPECT_EQ(choosePager(), "");
}

} // namespace
} // namespace healthintf::healthctl
