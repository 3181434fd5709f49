#include "script.hpp"
#include "temporary_folder.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

namespace healthintf::test
{
namespace
{

using testing::HasSubstr;

/** A small project that logs. */
class CheckLogLines : public testing::Test
{
  protected:
    CheckLogLines()
    {
        tree.write("src/store.cpp",
                   "#include \"log_line.hpp\"\n" // 1
                   "\n" // 2
                   "/** Opens it (or not). */\n" // 3
                   "int Store::open(int flags)\n" // 4
                   "{\n" // 5
                   "    if (flags != 0)\n" // 6
                   "    {\n" // 7
                   "        HMI_LOG(log::error,\n" // 8
                   "                \"%s.%d.%s: it \"\n" // 9
                   "                \"is %s (%d)\",\n" // 10
                   "                text(\")\"), 3);\n" // 11
                   "    }\n" // 12
                   "}\n" // 13
                   "\n" // 14
                   "Store::~Store()\n" // 15
                   "{\n" // 16
                   "    HMI_LOG(log::error, \"%s.%d.%s: gone\");\n"
                   "}\n");
    }

    /** What the script says of a line in a document. */
    ScriptResult check(const std::string& quoted) const
    {
        tree.write("docs/page.md", "# Page\n\n" + quoted + "\n");
        return runScript({SCRIPTS "/check-log-lines", tree.path()});
    }

    void expectCause(const std::string& quoted, const std::string& cause) const
    {
        const ScriptResult result = check(quoted);
        EXPECT_EQ(result.status, 1);
        EXPECT_THAT(result.output, HasSubstr(cause));
    }

    TemporaryFolder tree;
};

TEST_F(CheckLogLines, AcceptsWhatTheCodeLogs)
{
    for (const char* quoted :
         {"fand: error: store.8.open: it is shut (4)", "store.17.~Store: gone"})
    {
        const ScriptResult result = check(quoted);
        EXPECT_EQ(result.output, "");
        EXPECT_EQ(result.status, 0);
    }
}

TEST_F(CheckLogLines, TellsWhereTheLineIsNow)
{
    expectCause("store.7.open: it is shut (4)",
                "docs/page.md:3: store.7.open: is line 8\n");
}

TEST_F(CheckLogLines, TellsWhichFunctionItIsOf)
{
    expectCause("store.8.close: it is shut (4)",
                "docs/page.md:3: store.8.close: is of open\n");
}

TEST_F(CheckLogLines, NamesATextThatIsNotInTheCode)
{
    expectCause("store.8.open: it was shut (4)",
                "store.8.open: no line of the log reads so\n");
}

TEST_F(CheckLogLines, NamesAFileThatIsNotThere)
{
    expectCause("stock.8.open: it is shut (4)",
                "stock.8.open: there is no such file");
}

TEST_F(CheckLogLines, KnowsAPartOfAClassByTheClassesFile)
{
    tree.write("src/store_part.cpp", "#define HMI_LOG_FILE \"store\"\n"
                                     "void part()\n"
                                     "{\n"
                                     "    HMI_LOG(1, \"%s.%d.%s: part\");\n"
                                     "}\n");
    EXPECT_EQ(check("store.4.part: part").status, 0);
    expectCause("store_part.4.part: part", "there is no such file");
}

TEST_F(CheckLogLines, TakesAnyFunctionWhereTheCallerGivesIt)
{
    tree.write("src/read.cpp",
               "void read(const char* function)\n"
               "{\n"
               "    HMI_LOG_AS(function, 2, \"%s.%d.%s: %ld\", 1L);\n"
               "}\n");
    EXPECT_EQ(check("read.3.caller: 1").output, "");
    expectCause("read.4.caller: 1", "is line 3\n");
}

TEST_F(CheckLogLines, LooksForTheFunctionBehindStatements)
{
    tree.write("services/loop.cpp", "void Loop::run(int a,\n"
                                    "               int b)\n"
                                    "{\n"
                                    "    // One (or two).\n"
                                    "    for (each : all())\n"
                                    "    {\n"
                                    "        if (done(each))\n"
                                    "        {\n"
                                    "            SERVICE_LOG(1, \"%s.%d.%s: "
                                    "on\");\n"
                                    "        }\n"
                                    "    }\n"
                                    "}\n");
    EXPECT_EQ(check("loop.9.run: on").output, "");
}

TEST_F(CheckLogLines, AsksForAnythingToCheck)
{
    expectCause("Nothing.", "no document quotes the log\n");
}

} // namespace
} // namespace healthintf::test
