// SPDX-License-Identifier: Apache-2.0
/** @file The completion of healthctl in zsh. */

#include "healthctl.hpp"

#include <platform/data_abstraction/health_status.hpp>

#include <gmock/gmock.h>

#include <cstdlib>
#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

namespace healthintf::test
{
namespace
{

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::IsSupersetOf;
using testing::UnorderedElementsAre;

class ZshCompletion : public HealthctlTest
{
  protected:
    static bool hasZsh()
    {
        return runProgram({"sh", "-c", "command -v zsh"}).status == 0;
    }

    void SetUp() override
    {
        if (!hasZsh())
        {
            GTEST_SKIP() << "there is no zsh";
        }
    }

    /** What zsh offers for the last word of a line that is typed.
     *
     *  @param[out] line unless it is null, gets the line afterwards */
    std::vector<std::string> complete(const std::string& typed,
                                      std::string* line = nullptr) const
    {
        const std::string path =
            std::filesystem::path(HEALTHCTL).parent_path().string() + ":" +
            std::getenv("PATH");
        const Answer answer =
            runProgram({COMPLETE_IN_ZSH, COMPLETIONS, typed},
                       {"PATH=" + path, "EVIL=" + evil.string()});
        EXPECT_EQ(answer.status, 0) << answer.errors;
        const std::string mark = "line: ";
        std::istringstream lines(answer.output);
        std::vector<std::string> offered;
        for (std::string each; std::getline(lines, each);)
        {
            if (!each.starts_with(mark))
            {
                offered.push_back(each);
            }
            else if (line != nullptr)
            {
                *line = each.substr(mark.size());
            }
        }
        return offered;
    }

    /** A file that is made by whoever runs what is no command. */
    std::filesystem::path evil = bus.folder().path() / "evil";
};

TEST_F(ZshCompletion, OffersCommands)
{
    EXPECT_THAT(complete("healthctl t"), ElementsAre("tree", "top"));
    EXPECT_THAT(complete("healthctl lcd s"), ElementsAre("set"));
    EXPECT_THAT(complete("healthctl sel "),
                ElementsAre("list", "show", "add", "clear", "export", "import",
                            "info"));
    std::string line;
    complete("healthctl --json expl", &line);
    EXPECT_EQ(line, "healthctl --json explain ");
}

TEST_F(ZshCompletion, OffersOptionsAndTheirWords)
{
    EXPECT_THAT(
        complete("healthctl faults --s"),
        ElementsAre("--severity", "--since", "--sort", "--short", "--source"));
    EXPECT_THAT(complete("healthctl faults --severity c"),
                ElementsAre("critical"));
    EXPECT_THAT(complete("healthctl sel list --severity i"),
                ElementsAre("informational"));
    EXPECT_THAT(complete("healthctl tree --source "),
                ElementsAre("auto", "cache", "bus"));
    EXPECT_THAT(complete("healthctl faults --text "), IsEmpty());
}

TEST_F(ZshCompletion, OffersTheHistorysKindsAndComponents)
{
    EXPECT_THAT(complete("healthctl history --kind s"),
                UnorderedElementsAre("shown", "silenced", "silence-ended"));
    EXPECT_THAT(complete("healthctl history rack/"),
                ElementsAre("rack/fan", "rack/psu"));
    EXPECT_THAT(complete("healthctl history --limit "), IsEmpty());
}

TEST_F(ZshCompletion, OffersComponentsAndMessages)
{
    daemon.add(fan, "Test.1.0.Slow", "/sensors/fan", 2, 7);
    client.waitForHealth(root, 3);
    EXPECT_THAT(complete("healthctl tree rack/"),
                ElementsAre("rack/fan", "rack/psu"));
    EXPECT_THAT(complete("healthctl watch rack/p"), ElementsAre("rack/psu"));
    EXPECT_THAT(complete("healthctl hide --component rack/p"),
                ElementsAre("rack/psu"));
    EXPECT_THAT(complete("healthctl explain T"), ElementsAre("Test.1.0.Slow"));
    EXPECT_THAT(complete("healthctl faults -m T"),
                ElementsAre("Test.1.0.Slow"));
}

TEST_F(ZshCompletion, OffersComponentsToRaiseAndClearFaults)
{
    EXPECT_THAT(complete("healthctl rai"), ElementsAre("raise"));
    for (const std::string command : {"raise", "clear"})
    {
        EXPECT_THAT(complete("healthctl " + command + " rack/p"),
                    ElementsAre("rack/psu"));
    }
    EXPECT_THAT(complete("healthctl sel clear "), IsEmpty());
    EXPECT_THAT(complete("healthctl raise --tr"), ElementsAre("--trial"));
    EXPECT_THAT(complete("healthctl raise --for "), IsEmpty());
}

TEST_F(ZshCompletion, OffersLostMonitors)
{
    Component lost(rack + "/lost", 2);
    client.waitForHealth(rack + "/lost", 2);
    lost.process.kill();
    client.waitForHealth(rack + "/lost", 3);
    EXPECT_THAT(complete("healthctl dismiss "), ElementsAre("rack/lost"));
}

TEST_F(ZshCompletion, OffersFilesForRecords)
{
    const std::string folder = bus.folder().path().string() + "/";
    bus.folder().write("records.raw", "");
    EXPECT_THAT(complete("healthctl sel import " + folder + "rec"),
                IsSupersetOf({"records.raw"}));
}

TEST_F(ZshCompletion, RunsNothingOfAComponentsKey)
{
    // Whoever may report can give a record any key.
    for (const char* end : {"$(touch${IFS}$EVIL)", "`touch${IFS}$EVIL`",
                            ";touch${IFS}$EVIL", "[$(touch${IFS}$EVIL)]",
                            "'$(touch${IFS}$EVIL)'", "(e:'touch $EVIL':)"})
    {
        const std::string key = rack + "/fa" + end;
        ASSERT_EQ(datacache_healthstatus_create(key, {{"HealthStatus", 2U}}),
                  0);
        EXPECT_THAT(healthctl({"tree", "--paths"}).output,
                    HasSubstr(key.substr(root.size() + 1)));
    }
    EXPECT_THAT(complete("healthctl tree rack/f"), ElementsAre("rack/fan"));
    EXPECT_FALSE(std::filesystem::exists(evil));
}

TEST_F(ZshCompletion, RunsNothingOfTheLine)
{
    const std::string words = "'$(touch $EVIL)' 'a]$(touch $EVIL)' "
                              "'`touch $EVIL`' 'x(e:touch $EVIL:)'";
    EXPECT_THAT(complete("healthctl " + words + " tr"), ElementsAre("tree"));
    complete("healthctl faults --severity " + words);
    complete("healthctl tree " + words);
    EXPECT_FALSE(std::filesystem::exists(evil));
}

} // namespace
} // namespace healthintf::test
