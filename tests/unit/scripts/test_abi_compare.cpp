#include "script.hpp"
#include "temporary_folder.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

namespace healthintf::test
{
namespace
{

using testing::HasSubstr;
using testing::Not;

/** What the library is made of; each test changes some of it. */
struct Parts
{
    std::string members = "int number; char letter;";
    std::string inside = "int a;";
    std::string virtuals = "virtual void first(); virtual void second();";
    std::string functions = "int twice(const Shown& shown);";
    std::string code = "int twice(const Shown& shown)"
                       "{ return 2 * shown.number + Inner{}.a; }";
    std::string map = "ONE { global: *; };";
    std::string soname = "libfixture.so.1";
};

/** A small library, its announced ABI, and what became of the library. */
class AbiCompare : public testing::Test
{
  protected:
    AbiCompare()
    {
        std::filesystem::create_directory(folder.path() / "include");
        build({});
        EXPECT_EQ(compare({"--renew"}).status, 0);
    }

    void build(const Parts& parts)
    {
        folder.write("include/shown.hpp",
                     "#pragma once\n"
                     "struct Inner;\n"
                     "struct Shown { " +
                         parts.members +
                         " Inner* inner; };\n"
                         "class Base { public: virtual ~Base(); " +
                         parts.virtuals + " };\n" + parts.functions + "\n");
        folder.write("library.cpp", "#include \"shown.hpp\"\n"
                                    "struct Inner { " +
                                        parts.inside +
                                        " };\n"
                                        "Base::~Base() = default;\n"
                                        "void Base::first() {}\n"
                                        "void Base::second() {}\n" +
                                        parts.code + "\n");
        folder.write("library.map", parts.map);
        const ScriptResult built =
            runScript({"c++", "-g", "-shared", "-fPIC", "-I", at("include"),
                       "-Wl,-soname," + parts.soname,
                       "-Wl,--version-script," + at("library.map"), "-o",
                       at("libfixture.so"), at("library.cpp")});
        ASSERT_EQ(built.status, 0) << built.output;
    }

    ScriptResult compare(std::vector<std::string> command = {})
    {
        command.insert(command.begin(), SCRIPTS "/lib/abi_compare.py");
        command.insert(command.end(),
                       {at("libfixture.so"), at("abi"), at("include")});
        return runScript(command);
    }

    /** Nothing is announced that breaks a program which was built before. */
    void expectBroken(const Parts& parts, const std::string& what)
    {
        build(parts);
        const ScriptResult result = compare();
        EXPECT_EQ(result.status, 1);
        EXPECT_THAT(result.output, HasSubstr("breaks programs"));
        EXPECT_THAT(result.output, HasSubstr(what));
        EXPECT_EQ(compare({"--renew"}).status, 1);
        EXPECT_EQ(compare().status, 1);
    }

    std::string at(const std::string& name)
    {
        return folder.path() / name;
    }

    TemporaryFolder folder;
};

TEST_F(AbiCompare, FindsNothingInWhatWasAnnounced)
{
    const ScriptResult result = compare();
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.output, "");
}

TEST_F(AbiCompare, RefusesThatAFunctionIsGone)
{
    Parts parts;
    parts.code = "";
    expectBroken(parts, "not exported any more: _Z5twiceRK5Shown@@ONE");
}

TEST_F(AbiCompare, RefusesOtherArguments)
{
    Parts parts;
    parts.functions = "int twice(const Shown& shown, int = 2);";
    parts.code = "int twice(const Shown& shown, int times)"
                 "{ return times * shown.number + Inner{}.a; }";
    expectBroken(parts, "not exported any more: _Z5twiceRK5Shown@@ONE");
}

TEST_F(AbiCompare, RefusesAnotherOrderOfVirtualFunctions)
{
    Parts parts;
    parts.virtuals = "virtual void second(); virtual void first();";
    expectBroken(parts, "_ZTV4Base: no longer in slot 4 _ZN4Base5firstEv");
}

TEST_F(AbiCompare, RefusesAnotherLayoutOfAPublicType)
{
    Parts parts;
    parts.members = "char letter; int number;";
    expectBroken(parts, "'char letter' offset changed");
}

TEST_F(AbiCompare, LeavesTypesAloneThatNoHeaderDefines)
{
    Parts parts;
    parts.inside = "char before; int a; int after;";
    build(parts);
    EXPECT_EQ(compare().status, 0);
}

TEST_F(AbiCompare, RefusesWhatWasAddedToANodeOfTheVersionScript)
{
    Parts parts;
    parts.code += "int thrice() { return 3; }";
    expectBroken(parts, "added to a node of the version script: _Z6thricev");
}

TEST_F(AbiCompare, TellsWhatWasAddedUntilItIsAnnounced)
{
    Parts parts;
    parts.code += "int thrice() { return 3; }";
    parts.map += "TWO { global: _Z6thricev; };";
    build(parts);
    const ScriptResult result = compare();
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.output, HasSubstr("exported: _Z6thricev@@TWO"));
    EXPECT_THAT(result.output, Not(HasSubstr("breaks")));
    EXPECT_EQ(compare({"--renew"}).status, 0);
    EXPECT_EQ(compare().status, 0);
}

TEST_F(AbiCompare, AnnouncesABrokenAbiWithAnotherSoname)
{
    Parts parts;
    parts.code = "";
    parts.soname = "libfixture.so.2";
    build(parts);
    EXPECT_EQ(compare().status, 1);
    EXPECT_EQ(compare({"--renew"}).status, 0);
    EXPECT_EQ(compare().status, 0);
}

} // namespace
} // namespace healthintf::test
