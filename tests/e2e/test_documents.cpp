/** @file Whoever does what a page of docs/ shows sees what it says. */

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

/** Runs the commands of a page on a bus of its own, in a folder that looks
 *  like the project's after a build.
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
    return outputOf(
        {SOURCE_FOLDER "/scripts/check-transcripts",
         // What the pages call by the names that a user has for it.
         "--let=/usr/libexec/healthintf=" +
             fs::path(installation().program("")).parent_path().string(),
         "--let=$ python3 =$ /usr/bin/python3 ",
         // The compiler's own flags name the standard.
         "--let=c++20 build=none build", SOURCE_FOLDER "/docs/" + name,
         project.path()},
        {"CXX=" COMPILER, "CXXFLAGS=" SDBUSPLUS_FLAGS, "CC=" C_COMPILER,
         "PATH=" + installation().at(PREFIX "/bin").string() + ":" +
             std::getenv("PATH")});
}

class Documents : public testing::TestWithParam<const char*>
{};

TEST_P(Documents, ShowWhatOneSees)
{
    EXPECT_THAT(runPage(GetParam()),
                EndsWith("commands show what the document says\n"));
}

INSTANTIATE_TEST_SUITE_P(Pages, Documents,
                         testing::Values("dbus.md", "healthctl.md", "hostmon.md",
                                         "logmgr.md", "tutorial.md"));

/** Every option that a program tells of. */
std::vector<std::string> optionsOf(const std::string& program)
{
    const std::string help =
        outputOf({installation().program(program), "--help"});
    const std::regex option("--([a-z]+)");
    return {std::sregex_token_iterator(help.begin(), help.end(), option, 1),
            std::sregex_token_iterator()};
}

TEST(Manual, HasAPageForEachServiceWithAllOfItsOptions)
{
    int services = 0;
    for (const auto& file : fs::directory_iterator(
             fs::path(installation().program("")).parent_path()))
    {
        const std::string program = file.path().filename();
        const std::string page =
            contentOf(installation().at(MAN_FOLDER "/man8") / (program + ".8"));
        EXPECT_THAT(optionsOf(program), testing::SizeIs(testing::Ge(2u)));
        for (const std::string& option : optionsOf(program))
        {
            EXPECT_THAT(page, testing::HasSubstr("Fl Fl " + option)) << program;
        }
        ++services;
    }
    EXPECT_GE(services, 3);
}

TEST(Manual, HasPagesForTheLibraryAndTheConfigurations)
{
    for (const char* page :
         {"man3/healthintf.3", "man5/hostmon.toml.5", "man5/logmgr.toml.5"})
    {
        EXPECT_TRUE(fs::exists(installation().at(MAN_FOLDER "/") / page))
            << page;
    }
}

/** A program of a page's fragments, each of which sees those before it. They
 *  use a daemon's component and connection without having made them. */
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

TEST(Fragments, CanBeCompiled)
{
    for (const char* page : {"queries.md", "sel.md"})
    {
        const std::string program = programOfFragments(
            contentOf(fs::path(SOURCE_FOLDER "/docs") / page));
        ASSERT_THAT(program, testing::HasSubstr("\n{\n")) << page;
        const auto source =
            installation().files().write("fragments.cpp", program);
        EXPECT_NO_THROW(
            installation().compile({"-fsyntax-only", "-Wno-unused", source}))
            << page;
    }
}

/** The pages that have transcripts, so that no new one is forgotten. */
TEST(DocumentsList, HasEveryPageWithTranscripts)
{
    std::vector<std::string> pages;
    for (const auto& file : fs::directory_iterator(SOURCE_FOLDER "/docs"))
    {
        if (file.path().extension() == ".md" &&
            contentOf(file.path()).find("```console\n$ ") != std::string::npos)
        {
            pages.push_back(file.path().filename());
        }
    }
    EXPECT_THAT(pages,
                testing::UnorderedElementsAre("dbus.md", "healthctl.md",
                                              "hostmon.md", "logmgr.md",
                                              "tutorial.md"));
}

} // namespace
} // namespace healthintf::test
