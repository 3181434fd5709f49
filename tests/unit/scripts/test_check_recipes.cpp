#include "script.hpp"
#include "temporary_folder.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <tuple>

namespace healthintf::test
{
namespace
{

using testing::HasSubstr;

const std::string goodRecipe = "SUMMARY = \"A fan\"\n"
                               "LICENSE = \"CLOSED\"\n"
                               "\n"
                               "# Where it is.\n"
                               "SRC_URI = \"git://fan \\\n"
                               "    file://a.patch \\\n"
                               "\"\n"
                               "inherit meson\n"
                               "PACKAGECONFIG[x] = \"-Dx=true,-Dx=false\"\n"
                               "PACKAGES =+ \"${PN}-tool\"\n"
                               "FILES:${PN}-tool = \"${bindir}\"\n"
                               "do_install:append() {\n"
                               "    rm -r ${D}${bindir}\n"
                               "}\n";

/** A layer in good order. */
class CheckRecipes : public testing::Test
{
  protected:
    CheckRecipes()
    {
        layer.write("conf/layer.conf",
                    "BBPATH .= \":${LAYERDIR}\"\n"
                    "BBFILES += \"${LAYERDIR}/*/*.bb\"\n"
                    "BBFILE_COLLECTIONS += \"fan\"\n"
                    "BBFILE_PATTERN_fan = \"^${LAYERDIR}/\"\n"
                    "BBFILE_PRIORITY_fan = \"6\"\n"
                    "LAYERSERIES_COMPAT_fan = \"scarthgap\"\n");
        layer.write("recipes/fan_1.bb", goodRecipe);
    }

    ScriptResult check() const
    {
        return runScript({SCRIPTS "/check-recipes", layer.path()});
    }

    void expectCause(const std::string& recipe, const std::string& cause) const
    {
        layer.write("recipes/fan_1.bb", recipe);
        const ScriptResult result = check();
        EXPECT_EQ(result.status, 1);
        EXPECT_THAT(result.output, HasSubstr("fan_1.bb:" + cause + "\n"));
    }

    TemporaryFolder layer;
};

TEST_F(CheckRecipes, AcceptsALayerInGoodOrder)
{
    const ScriptResult result = check();
    EXPECT_EQ(result.output, "");
    EXPECT_EQ(result.status, 0);
}

TEST_F(CheckRecipes, AcceptsTheLayerOfTheProject)
{
    const ScriptResult result =
        runScript({SCRIPTS "/check-recipes",
                   SCRIPTS "/../examples/yocto/meta-healthintf"});
    EXPECT_EQ(result.output, "");
    EXPECT_EQ(result.status, 0);
}

TEST_F(CheckRecipes, NamesALineThatCannotBeRead)
{
    for (const auto& [line, cause] :
         {std::tuple("inherits meson", "is no statement: inherits meson"),
          std::tuple("A = b", "A: the value is not in quotes"),
          std::tuple("A = \"b", "A: the value is not in quotes"),
          std::tuple("A = \"b\" \"c\"", "A: the value is not in quotes"),
          std::tuple("A = \"${b\"", "A: a bracket is not closed"),
          std::tuple("FILES_${PN} = \"a\"",
                     "FILES_${PN}: overrides follow a colon"),
          std::tuple("A_append = \"a\"", "A_append: overrides follow a colon"),
          std::tuple("require b.inc", "b.inc is not there"),
          std::tuple("A = \"b \\", "does not end")})
    {
        expectCause(goodRecipe + line + "\n", "15: " + std::string(cause));
    }
}

TEST_F(CheckRecipes, NamesACommentInTheMidstOfAStatement)
{
    expectCause(goodRecipe + "A = \"b \\\n# c\n\"\n",
                "16: in the midst of a statement");
}

TEST_F(CheckRecipes, NamesWhatARecipeLacks)
{
    expectCause("LICENSE = \"CLOSED\"\nSRC_URI = \"\"\n",
                "1: SUMMARY is not set");
    expectCause("SUMMARY = \"a\"\nSRC_URI = \"\"\nLICENSE = \"MIT\"\n",
                "1: LIC_FILES_CHKSUM is not set");
    expectCause(goodRecipe + "PACKAGES =+ \"${PN}-more\"\n",
                "1: FILES:${PN}-more is not set");
}

TEST_F(CheckRecipes, TakesWhatAFileSetsThatIsRequired)
{
    layer.write("recipes/fan.inc", goodRecipe);
    layer.write("recipes/fan_1.bb", "require fan.inc\nPV = \"1\"\n");
    EXPECT_EQ(check().output, "");
}

TEST_F(CheckRecipes, NamesWhatALayerLacks)
{
    layer.write("conf/layer.conf", "BBPATH .= \":a\"\nBBFILES += \"b\"\n"
                                   "BBFILE_COLLECTIONS += \"fan\"\n"
                                   "BBFILE_PATTERN_fan = \"c\"\n"
                                   "LAYERSERIES_COMPAT_fan = \"d\"\n");
    EXPECT_THAT(check().output,
                HasSubstr("layer.conf:1: BBFILE_PRIORITY_fan is not set\n"));
}

TEST_F(CheckRecipes, AsksForARecipe)
{
    const TemporaryFolder empty;
    EXPECT_THAT(runScript({SCRIPTS "/check-recipes", empty.path()}).output,
                HasSubstr("has no recipe\n"));
}

} // namespace
} // namespace healthintf::test
