#include "script.hpp"
#include "temporary_folder.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <tuple>

namespace healthintf::test
{
namespace
{

using testing::HasSubstr;

const std::string script = SCRIPTS "/checks/layers";

/** A small project in good order, with a file on every floor. */
class CheckLayers : public testing::Test
{
  protected:
    CheckLayers()
    {
        tree.write("subprojects/sdbusplus-lite/include/sdbusplus/bus.hpp",
                   "#include <systemd/sd-bus.h>\n");
        tree.write("subprojects/sdbusplus-lite/tests/test_bus.cpp",
                   "#include <sdbusplus/bus.hpp>\n");
        tree.write("platform/include/platform/dlog.h", "");
        tree.write("platform/host/log.hpp", "#include <platform/dlog.h>\n");
        tree.write("platform/host/data_cache/cache.cpp",
                   "#include \"../log.hpp\"\n\n#include <lmdb.h>\n");
        tree.write("com/vexa/names.hpp", "");
        tree.write("include/hmi.hpp", "#include <com/vexa/names.hpp>\n"
                                      "#include <sdbusplus/bus.hpp>\n");
        tree.write("src/detail.hpp", "");
        tree.write("src/hmi.cpp", "#include \"hmi.hpp\"\n"
                                  "#include \"detail.hpp\"\n");
        tree.write("services/common/loop.hpp", "");
        tree.write("services/healthmgr/nodes.hpp",
                   "#include \"../common/loop.hpp\"\n#include \"log.hpp\"\n");
        tree.write("services/hostmon/main.cpp",
                   "#include \"../common/loop.hpp\"\n");
        tree.write("tests/unit/test_nodes.cpp",
                   "#include \"detail.hpp\"\n"
                   "#include \"services/healthmgr/nodes.hpp\"\n");
        tree.write("bench/speed.cpp", "#include <hmi.hpp>\n");
    }

    ScriptResult check() const
    {
        return runScript({script, tree.path()});
    }

    /** The only complaint about the tree, or what there is in its place. */
    std::string complaint() const
    {
        const ScriptResult result = check();
        EXPECT_EQ(result.status, 1);
        EXPECT_EQ(result.output.find('\n'), result.output.size() - 1);
        return result.output.substr(0, result.output.find('\n'));
    }

    TemporaryFolder tree;
};

TEST_F(CheckLayers, AcceptsIncludesThatRunDownwards)
{
    const ScriptResult result = check();
    EXPECT_EQ(result.output, "");
    EXPECT_EQ(result.status, 0);
}

TEST_F(CheckLayers, NamesAnIncludeFromAFloorAbove)
{
    tree.write("com/vexa/server.cpp", "#include <com/vexa/names.hpp>\n\n"
                                      "#include <hmi.hpp>\n");
    EXPECT_EQ(complaint(), "com/vexa/server.cpp:3: include/hmi.hpp: floor 2 "
                           "includes from floor 3");
}

TEST_F(CheckLayers, NamesEachIncludeAgainstTheDirection)
{
    const std::string lite = "subprojects/sdbusplus-lite/include/";
    tree.write(lite + "sdbusplus/low.hpp", "#include <platform/dlog.h>\n");
    tree.write("platform/include/platform/up.hpp",
               "#  include \"com/vexa/names.hpp\"\n");
    tree.write("include/up.hpp", "\t#include \"../src/detail.hpp\"\n");
    tree.write("src/up.cpp", "#include \"../services/common/loop.hpp\"\n");
    tree.write("services/common/up.cpp",
               "#include \"../../bench/speed.cpp\"\n");
    const ScriptResult result = check();
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(
        result.output,
        testing::AllOf(
            HasSubstr(lite + "sdbusplus/low.hpp:1: platform/include/platform/"
                             "dlog.h: floor 0 includes from floor 1\n"),
            HasSubstr("platform/include/platform/up.hpp:1: com/vexa/names.hpp: "
                      "floor 1 includes from floor 2\n"),
            HasSubstr("include/up.hpp:1: src/detail.hpp: floor 3 includes "
                      "from floor 4\n"),
            HasSubstr("src/up.cpp:1: services/common/loop.hpp: floor 4 "
                      "includes from floor 5\n"),
            HasSubstr("services/common/up.cpp:1: bench/speed.cpp: floor 5 "
                      "includes from floor 6\n")));
}

TEST_F(CheckLayers, NamesAnIncludeOfWhatIsPrivate)
{
    for (const auto& [file, include, folder] :
         {std::tuple("src/bad.cpp", "\"../platform/host/log.hpp\"",
                     "platform/host/log.hpp: platform/host"),
          std::tuple("src/bad.cpp", "<log.hpp>",
                     "platform/host/log.hpp: platform/host"),
          std::tuple("platform/include/platform/bad.cpp", "\"log.hpp\"",
                     "platform/host/log.hpp: platform/host"),
          std::tuple("services/hostmon/bad.cpp", "\"detail.hpp\"",
                     "src/detail.hpp: src"),
          std::tuple("services/hostmon/bad.cpp", "\"../healthmgr/nodes.hpp\"",
                     "services/healthmgr/nodes.hpp: services/healthmgr"),
          std::tuple("services/common/bad.cpp", "\"healthmgr/nodes.hpp\"",
                     "services/healthmgr/nodes.hpp: services/healthmgr"),
          std::tuple("bench/bad.cpp", "\"../src/detail.hpp\"",
                     "src/detail.hpp: src")})
    {
        tree.write(file, std::string("#include ") + include + "\n");
        EXPECT_EQ(complaint(),
                  std::string(file) + ":1: " + folder + " is private");
        std::filesystem::remove(tree.path() / file);
    }
}

TEST_F(CheckLayers, NamesACircleOfIncludes)
{
    tree.write("src/a.hpp", "#include \"b.hpp\"\n");
    tree.write("src/b.hpp", "\n#include \"c.hpp\"\n");
    tree.write("src/c.hpp", "#include \"detail.hpp\"\n\n#include \"a.hpp\"\n");
    EXPECT_EQ(complaint(),
              "src/c.hpp:3: src/a.hpp: a circle, src/a.hpp -> src/b.hpp -> "
              "src/c.hpp -> src/a.hpp");
}

TEST_F(CheckLayers, NamesEveryCircle)
{
    tree.write("com/vexa/self.hpp", "#include \"self.hpp\"\n");
    tree.write("src/a.hpp", "#include \"b.hpp\"\n");
    tree.write("src/b.hpp", "#include \"a.hpp\"\n");
    EXPECT_EQ(check().output,
              "com/vexa/self.hpp:1: com/vexa/self.hpp: a circle, "
              "com/vexa/self.hpp -> com/vexa/self.hpp\n"
              "src/b.hpp:1: src/a.hpp: a circle, src/a.hpp -> src/b.hpp -> "
              "src/a.hpp\n");
}

TEST_F(CheckLayers, TakesTwoWaysToOneFileForNoCircle)
{
    tree.write("src/a.hpp", "#include \"b.hpp\"\n#include \"detail.hpp\"\n");
    tree.write("src/b.hpp", "#include \"detail.hpp\"\n");
    EXPECT_EQ(check().output, "");
}

TEST_F(CheckLayers, NamesAnIncludeOfAFileThatIsNowhere)
{
    tree.write("src/a.cpp", "#include \"gone.hpp\"\n");
    EXPECT_EQ(complaint(), "src/a.cpp:1: gone.hpp: is nowhere");
}

TEST_F(CheckLayers, TakesATemplateForTheFileThatIsMadeOfIt)
{
    tree.write("platform/host/made.hpp.in", "#define MADE @made@\n");
    tree.write("platform/host/user.cpp", "#include \"made.hpp\"\n");
    EXPECT_EQ(check().output, "");
    tree.write("src/user.cpp", "#include \"made.hpp\"\n");
    EXPECT_EQ(complaint(), "src/user.cpp:1: platform/host/made.hpp.in: "
                           "platform/host is private");
}

TEST_F(CheckLayers, NamesAFileWithoutAPlace)
{
    tree.write("extra/a.cpp", "");
    EXPECT_EQ(complaint(),
              "extra/a.cpp:1: has no place in scripts/checks/layers");
}

TEST_F(CheckLayers, LeavesAloneWhatIsNotTheProjects)
{
    const std::string bad = "#include \"gone.hpp\"\n";
    tree.write("build/test/a.cpp", bad);
    tree.write("build-arm/a.cpp", bad);
    tree.write(".cache/a.cpp", bad);
    tree.write("subprojects/other/a.cpp", bad);
    EXPECT_EQ(check().output, "");
}

TEST_F(CheckLayers, ChecksItsOwnProjectUnlessToldAnother)
{
    std::filesystem::create_directories(tree.path() / "scripts/checks");
    const auto copy = tree.path() / "scripts/checks/layers";
    std::filesystem::copy_file(script, copy);
    EXPECT_EQ(runScript({copy}).status, 0);
    tree.write("src/a.cpp", "#include \"gone.hpp\"\n");
    const ScriptResult result = runScript({copy});
    EXPECT_EQ(result.output, "src/a.cpp:1: gone.hpp: is nowhere\n");
    EXPECT_EQ(result.status, 1);
}

TEST_F(CheckLayers, FailsWhereThereAreNoSources)
{
    const std::string empty = tree.path() / "data";
    std::filesystem::create_directory(empty);
    for (const std::string& folder : {empty, empty + "/gone"})
    {
        const ScriptResult result = runScript({script, folder});
        EXPECT_EQ(result.output, folder + ": no sources here\n");
        EXPECT_EQ(result.status, 1);
    }
}

} // namespace
} // namespace healthintf::test
