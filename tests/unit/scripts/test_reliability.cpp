#include "file_content.hpp"
#include "script.hpp"
#include "temporary_folder.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

namespace healthintf::test
{
namespace
{

namespace fs = std::filesystem;
using testing::HasSubstr;

/** The script in a project of its own, whose campaign says what it is told. */
class Reliability : public testing::Test
{
  protected:
    Reliability()
    {
        fs::create_directories(project.path() / "scripts/checks");
        fs::create_directory(project.path() / "scripts/lib");
        for (const char* name : {"reliability", "lib/campaign.py"})
        {
            fs::copy_file(fs::path(SCRIPTS) / name,
                          project.path() / "scripts" / name);
        }
        project.write("docs/reliability/findings.toml",
                      "[[mended]]\ncampaign = \"abi\"\nwhat = \"a leak\"\n"
                      "test = \"Some.Test\"\n"
                      "[[mended]]\ncampaign = \"load\"\nwhat = \"a hang\"\n"
                      "test = \"Other.Test\"\n"
                      "[[left]]\ncampaign = \"abi\"\nwhat = \"a delay\"\n"
                      "why = \"the bus\"\n");
    }

    void haveCampaign(const std::string& body) const
    {
        const auto campaign = project.write(
            "scripts/checks/abi", "#!/usr/bin/python3 -B\nimport sys\n"
                                  "sys.path.insert(0, 'scripts/lib')\n"
                                  "import campaign\n" +
                                      body);
        fs::permissions(campaign, fs::perms::owner_all);
    }

    ScriptResult run(const std::string& argument) const
    {
        return runScript({project.path() / "scripts/reliability", argument});
    }

    std::string page() const
    {
        return contentOf(project.path() / "docs/reliability.md");
    }

    const std::string finds =
        "campaign.write_result('abi', tried='all', times='7 rounds',\n"
        "    found=['one', 'two'], details='### More')\n";
    TemporaryFolder project;
};

TEST_F(Reliability, PutsTheResultOfACampaignIntoThePage)
{
    haveCampaign(finds);
    EXPECT_EQ(run("abi").status, 0);
    EXPECT_THAT(page(),
                HasSubstr("| [ABI](#abi) | all | 7 rounds | 2 | 1 | 1 |"));
    EXPECT_THAT(page(), HasSubstr("\n### More\n"));
    EXPECT_THAT(page(), HasSubstr("- one\n- two\n"));
}

TEST_F(Reliability, NamesWhatIsMendedAndWhatIsLeftOfTheCampaign)
{
    haveCampaign(finds);
    run("abi");
    EXPECT_THAT(page(), HasSubstr("- a leak (`Some.Test`)\n"));
    EXPECT_THAT(page(), HasSubstr("- a delay: the bus\n"));
    EXPECT_THAT(page(), Not(HasSubstr("a hang")));
}

TEST_F(Reliability, SaysWhenThePageIsNotWhatTheResultsSay)
{
    haveCampaign(finds);
    run("abi");
    EXPECT_EQ(run("--check").status, 0);
    project.write("docs/reliability/abi.json",
                  R"({"tried": "", "times": "", "found": [], "details": ""})");
    EXPECT_NE(run("--check").status, 0);
    EXPECT_EQ(run("--keep").status, 0);
    EXPECT_EQ(run("--check").status, 0);
}

TEST_F(Reliability, LeavesThePageAloneWhenACampaignHasNoResult)
{
    haveCampaign(finds);
    run("abi");
    const std::string before = page();
    haveCampaign("raise SystemExit(3)\n");
    const ScriptResult failed = run("abi");
    EXPECT_NE(failed.status, 0);
    EXPECT_EQ(page(), before);
}

TEST_F(Reliability, RefusesACampaignThatThereIsNot)
{
    EXPECT_NE(run("other").status, 0);
    EXPECT_FALSE(fs::exists(project.path() / "docs/reliability.md"));
}

} // namespace
} // namespace healthintf::test
