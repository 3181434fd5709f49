#include "script.hpp"
#include "temporary_folder.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

namespace healthintf::test
{
namespace
{

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::IsSupersetOf;
using testing::Not;

class Mutations : public testing::Test
{
  protected:
    /** The mutations of a source, each without the file's name. */
    std::vector<std::string> of(const std::string& code)
    {
        const std::string file = folder.write("source.cpp", code);
        const ScriptResult result =
            runScript({"python3", "-B", SCRIPTS "/lib/mutations.py", file});
        EXPECT_EQ(result.status, 0) << result.output;
        std::vector<std::string> found;
        std::istringstream lines(result.output);
        for (std::string line; std::getline(lines, line);)
        {
            found.push_back(line.substr(file.size() + 1));
        }
        return found;
    }

    /** Those of the statements in a function. */
    std::vector<std::string> inside(const std::string& statements)
    {
        return of("void f()\n{\n" + statements + "\n}\n");
    }

    TemporaryFolder folder;
};

TEST_F(Mutations, TurnConditions)
{
    EXPECT_THAT(inside("if (a == b)\n{\n}"),
                ElementsAre("3: condition: `==` becomes `!=`"));
    EXPECT_THAT(
        inside("if (!a && b)\n{\n}"),
        ElementsAre("3: condition: no `!`", "3: condition: `&&` becomes `||`"));
    EXPECT_THAT(inside("if (int x = 0; done(x))\n{\n}"),
                Contains("3: condition: `done(x)` becomes `!(done(x))`"));
    EXPECT_THAT(inside("if (auto* x = find())\n{\n}"), IsEmpty());
}

TEST_F(Mutations, MoveBoundaries)
{
    EXPECT_THAT(inside("while (a < b)\n{\n}"),
                ElementsAre("3: boundary: `<` becomes `<=`",
                            "3: condition: `<` becomes `>=`"));
    EXPECT_THAT(inside("int x = a + b;"),
                ElementsAre("3: boundary: `+` becomes `-`"));
}

TEST_F(Mutations, TakeTheBracketsOfTemplatesForNoComparisons)
{
    EXPECT_THAT(inside("std::map<int, std::vector<int>> x;"), IsEmpty());
    EXPECT_THAT(of("template <typename T>\nstruct A;\n"), IsEmpty());
}

TEST_F(Mutations, ChangeConstants)
{
    EXPECT_THAT(of("constexpr unsigned a = 0x0fu;\nconstexpr int b = 1'000;\n"
                   "constexpr bool c = true;\n"),
                ElementsAre("1: constant: `0x0fu` becomes `0x10u`",
                            "2: constant: `1'000` becomes `1001`",
                            "3: constant: `true` becomes `false`"));
    EXPECT_THAT(of("struct A\n{\n    virtual void f() = 0;\n};\n"), IsEmpty());
}

TEST_F(Mutations, LeaveStatementsOut)
{
    EXPECT_THAT(inside("call(a);\nint x;\nx = a;\nHMI_LOG(a);\nreturn x;"),
                ElementsAre("3: call: no `call(a);`",
                            "5: assignment: no `x = a;`",
                            "6: log line: no `HMI_LOG(a);`"));
    EXPECT_THAT(inside("const A x(y);\nB z = f();\nauto [v, w] = g();"),
                IsEmpty());
}

TEST_F(Mutations, LeaveJumpsOutOfBlocksOnly)
{
    EXPECT_THAT(inside("for (int i : a)\n{\ncontinue;\n}\nreturn;"),
                ElementsAre("5: jump: no `continue;`"));
    EXPECT_THAT(inside("if (auto* x = find())\n{\nreturn;\n}"),
                ElementsAre("5: jump: no `return;`"));
}

TEST_F(Mutations, ExchangeStatementsThatFollowEachOther)
{
    EXPECT_THAT(inside("a();\nb();"),
                Contains("3: swapped: `a(); b();` becomes `b(); a();`"));
    EXPECT_THAT(inside("a();\nHMI_LOG(x);\nb();"),
                Not(Contains(testing::HasSubstr("swapped"))));
    EXPECT_THAT(inside("a();\na();"),
                Not(Contains(testing::HasSubstr("swapped"))));
    EXPECT_THAT(
        inside("a = 1;\na = 2;"),
        Contains("3: swapped: `a = 1; a = 2;` becomes `a = 2; a = 1;`"));
    EXPECT_THAT(inside("put(\"a\", 1);\nset(\"b\", 2);"),
                Contains(testing::HasSubstr("swapped")));
}

TEST_F(Mutations, DoNotExchangeStatementsWhoseOrderPlainlyDoesNotMatter)
{
    EXPECT_THAT(inside("a = 1;\nb = 2;"),
                Not(Contains(testing::HasSubstr("swapped"))));
    EXPECT_THAT(inside("put(\"a\", x);\nput(\"b\", y);"),
                Not(Contains(testing::HasSubstr("swapped"))));
    EXPECT_THAT(inside("put(\"a\", x);\nput(\"a\", y);"),
                Contains(testing::HasSubstr("swapped")));
}

TEST_F(Mutations, GoIntoLambdasAndCases)
{
    EXPECT_THAT(inside("auto f = [](int x) {\ncall(x);\n};"),
                ElementsAre("4: call: no `call(x);`"));
    EXPECT_THAT(
        inside("switch (x)\n{\ncase A::b:\ncall(x);\nbreak;\n}"),
        IsSupersetOf({"6: call: no `call(x);`", "7: jump: no `break;`"}));
}

TEST_F(Mutations, LeaveTextsAndCommentsAndStaticAssertionsAlone)
{
    EXPECT_THAT(inside("// a == 1;\n/* call(); */\n#define A 5 \\\n    + 6\n"
                       "static_assert(sizeof(a) == 4);\n"
                       "auto* x = R\"(a(); 1 == 2)\";\nauto y = 'a';\n"
                       "auto z = \"\\\" == 1\";"),
                IsEmpty());
}

} // namespace
} // namespace healthintf::test
