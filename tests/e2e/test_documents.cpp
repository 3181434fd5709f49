// SPDX-License-Identifier: Apache-2.0
/** @file The commands on the pages of docs/ print what the pages show. */

#include "help_text.hpp"
#include "installation.hpp"
#include "private_bus.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <regex>

namespace healthintf::test
{
namespace
{

using testing::EndsWith;
namespace fs = std::filesystem;

/** Runs a page's commands on a bus of its own, in a folder that looks like the
 *  project after a build.
 *
 *  @return the runner's last line
 *  @throws std::runtime_error with the first difference */
std::string runPage(const std::string& name)
{
    const PrivateBus bus;
    const TemporaryFolder project;
    fs::create_directory_symlink(BUILD_FOLDER, project.path() / "build");
    fs::create_directory_symlink(SOURCE_FOLDER "/data",
                                 project.path() / "data");
    return readOutput(
        {SOURCE_FOLDER "/scripts/checks/transcripts",
         // The pages use a user's names for these paths.
         "--let=/usr/libexec/healthintf=" +
             fs::path(installation().program("")).parent_path().string(),
         "--let=$ python3 =$ /usr/bin/python3 ",
         // The compiler's own flags set the C++ standard.
         "--let=c++20 build=none build", SOURCE_FOLDER "/docs/" + name,
         project.path()},
        {"CXX=" COMPILER, "CXXFLAGS=" STANDARD " " SDBUSPLUS_FLAGS,
         "CC=" C_COMPILER, "PYTHONPATH=" SOURCE_FOLDER "/python",
         "PATH=" + installation().at(PREFIX "/bin").string() + ":" +
             std::getenv("PATH")},
        // Some pages compile a program.
        compilerPatience);
}

class Documents : public testing::TestWithParam<const char*>
{};

TEST_P(Documents, ShowTheActualOutput)
{
    EXPECT_THAT(runPage(GetParam()),
                EndsWith("commands show what the document says\n"));
}

INSTANTIATE_TEST_SUITE_P(Pages, Documents,
                         testing::Values("alarm.md", "component.md", "dbus.md",
                                         "healthctl.md", "hostmon.md",
                                         "logmgr.md", "tutorial.md"));

/** Every option in a help text. */
std::vector<std::string> optionsIn(const std::string& help)
{
    const std::regex option("--([a-z]+(-[a-z]+)*)");
    return {std::sregex_token_iterator(help.begin(), help.end(), option, 1),
            std::sregex_token_iterator()};
}

void expectOptions(const std::string& help, const std::string& page)
{
    for (const std::string& option : optionsIn(help))
    {
        EXPECT_THAT(page, testing::HasSubstr("Fl Fl " + option)) << help;
    }
}

/** Expects that a page describes a command, its options and its subcommands.
 *
 *  @return the number of commands */
int expectCommands(const std::vector<std::string>& command,
                   const std::string& words, const std::string& page)
{
    const std::string help = readHelp(command);
    expectOptions(help, page);
    int commands = 1;
    for (const std::string& next : commandsIn(help))
    {
        EXPECT_THAT(page, testing::HasSubstr("Ic " + words + next));
        std::vector<std::string> longer = command;
        longer.push_back(next);
        commands += expectCommands(longer, words + next + " ", page);
    }
    return commands;
}

TEST(Manual, HasAPageForHealthctlWithAllOfItsCommandsAndOptions)
{
    const std::string page =
        readContent(installation().at(MAN_FOLDER "/man1/healthctl.1"));
    EXPECT_GE(
        expectCommands({installation().at(PREFIX "/bin/healthctl")}, "", page),
        21);
}

TEST(Manual, HasAPageForEachServiceWithAllOfItsOptions)
{
    int services = 0;
    for (const auto& file : fs::directory_iterator(
             fs::path(installation().program("")).parent_path()))
    {
        const std::string program = file.path().filename();
        const std::string page = readContent(
            installation().at(MAN_FOLDER "/man8") / (program + ".8"));
        const std::string help = readHelp({file.path()});
        EXPECT_THAT(optionsIn(help), testing::SizeIs(testing::Ge(2u)));
        expectOptions(help, page);
        ++services;
    }
    EXPECT_GE(services, 3);
}

TEST(Manual, HasPagesForTheLibraryAndTheConfigurations)
{
    for (const char* page : {"man3/healthintf.3", "man5/healthmgr.toml.5",
                             "man5/hostmon.toml.5", "man5/logmgr.toml.5"})
    {
        EXPECT_TRUE(fs::exists(installation().at(MAN_FOLDER "/") / page))
            << page;
    }
}

/** A program made of a page's code fragments, each of which sees those before
 *  it. The daemon's component and connection are parameters. */
std::string programOfFragments(const std::string& page)
{
    std::string includes = "#include <lmi_sel_fault.hpp>\n";
    std::string body = "int take(const SELInterface::SELRecord& record);\n"
                       "void fragments(health_namespace::FaultAndHealth* "
                       "component, sdbusplus::bus_t& bus, "
                       "std::vector<unsigned char> bytes) {\n";
    std::string ends = "}\n";
    std::istringstream lines(page);
    bool inside = false;
    for (std::string line; std::getline(lines, line);)
    {
        if (line == "```cpp")
        {
            inside = true;
            body += "{\n";
            ends += "}\n";
        }
        else if (line == "```")
        {
            inside = false;
        }
        else if (inside)
        {
            (line.starts_with("#include") ? includes : body) += line + "\n";
        }
    }
    return includes + body + ends;
}

/** The code blocks of a page that are no files of their own. */
std::vector<std::string> quotations(const std::string& page)
{
    std::vector<std::string> found;
    const std::regex block("(-->)?\n```(cpp|python)\n([^`]*)```\n");
    for (auto each = std::sregex_iterator(page.begin(), page.end(), block);
         each != std::sregex_iterator(); ++each)
    {
        if (!(*each)[1].matched)
        {
            found.push_back((*each)[3]);
        }
    }
    return found;
}

TEST(Fragments, OfLoopsAreQuotedFromTheExamples)
{
    std::string examples;
    for (const auto& file : fs::directory_iterator(SOURCE_FOLDER "/examples"))
    {
        if (file.is_regular_file())
        {
            examples += readContent(file);
        }
    }
    const auto quoted =
        quotations(readContent(SOURCE_FOLDER "/docs/component.md"));
    EXPECT_THAT(quoted, testing::SizeIs(3));
    for (const std::string& lines : quoted)
    {
        EXPECT_NE(examples.find(lines), std::string::npos) << lines;
    }
}

TEST(Fragments, CanBeCompiled)
{
    for (const char* page : {"queries.md", "sel.md"})
    {
        const std::string program = programOfFragments(
            readContent(fs::path(SOURCE_FOLDER "/docs") / page));
        ASSERT_THAT(program, testing::HasSubstr("\n{\n")) << page;
        const auto source =
            installation().files().write("fragments.cpp", program);
        EXPECT_NO_THROW(
            installation().compile({"-fsyntax-only", "-Wno-unused", source}))
            << page;
    }
}

/** Every page with transcripts must be tested. */
TEST(DocumentsList, IncludesEveryPageWithTranscripts)
{
    std::vector<std::string> pages;
    for (const auto& file : fs::directory_iterator(SOURCE_FOLDER "/docs"))
    {
        if (file.path().extension() == ".md" &&
            readContent(file.path()).find("```console\n$ ") !=
                std::string::npos)
        {
            pages.push_back(file.path().filename());
        }
    }
    EXPECT_THAT(pages, testing::UnorderedElementsAre("alarm.md", "component.md",
                                                     "dbus.md", "healthctl.md",
                                                     "hostmon.md", "logmgr.md",
                                                     "tutorial.md"));
}

} // namespace
} // namespace healthintf::test
