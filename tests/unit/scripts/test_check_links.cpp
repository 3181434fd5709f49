#include "script.hpp"
#include "temporary_folder.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

namespace healthintf::test
{
namespace
{

class CheckLinks : public testing::Test
{
  protected:
    CheckLinks()
    {
        tree.write("docs/other.md", "# Other\n\n## The way's end, `now`\n\n"
                                    "```sh\n# No heading\n```\n");
    }

    ScriptResult check(const std::string& page) const
    {
        tree.write("docs/page.md", page);
        return runScript({SCRIPTS "/checks/links", tree.path()});
    }

    void expectGood(const std::string& page) const
    {
        EXPECT_EQ(check(page).output, "");
        EXPECT_EQ(check(page).status, 0);
    }

    void expectCause(const std::string& page, const std::string& cause) const
    {
        const ScriptResult result = check(page);
        EXPECT_EQ(result.output, cause + "\n");
        EXPECT_EQ(result.status, 1);
    }

    TemporaryFolder tree;
};

TEST_F(CheckLinks, AcceptsLinksToFilesAndHeadings)
{
    tree.write("README.md", "[docs](docs/page.md) and [it](docs)\n");
    expectGood("# A page\n\n[this](#a-page), [other](other.md),\n"
               "[end](other.md#the-ways-end-now), [up](../README.md)\n");
}

TEST_F(CheckLinks, NamesALinkToNoFile)
{
    expectCause("One.\n\n[gone](gone.md)\n",
                "docs/page.md:3: gone.md: is not there");
}

TEST_F(CheckLinks, NamesALinkToNoHeading)
{
    expectCause("[end](other.md#the-end)\n",
                "docs/page.md:1: other.md#the-end: there is no such heading");
    expectCause("# Page\n[me](#me)\n",
                "docs/page.md:2: #me: there is no such heading");
}

TEST_F(CheckLinks, TakesNothingInABlockForAHeading)
{
    expectCause("[no](other.md#no-heading)\n",
                "docs/page.md:1: other.md#no-heading: there is no such "
                "heading");
}

TEST_F(CheckLinks, PassesOverWhatIsInABlockOrElsewhere)
{
    expectGood("[other](other.md) [far](https://example.com/x)\n"
               "```c\na[0](gone.md)\n```\n");
}

TEST_F(CheckLinks, AsksForALink)
{
    expectCause("None.\n", tree.path().string() + ": there are no links here");
}

} // namespace
} // namespace healthintf::test
