#include "file_content.hpp"
#include "script.hpp"
#include "temporary_folder.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

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
using testing::Not;

class TidyBatches : public testing::Test
{
  protected:
    TidyBatches()
    {
        std::filesystem::create_directory(folder.path() / "room");
    }

    /** A source that is compiled with a flag. */
    void source(const std::string& name, const std::string& flag = "-O2",
                const std::string& content = "int x;\n")
    {
        folder.write("room/" + name, content);
        entry("room/" + name, flag, name);
    }

    /** What the build compiles in a folder of its own for each program. */
    void entry(const std::string& file, const std::string& flag,
               const std::string& name)
    {
        entries +=
            (entries.empty() ? "" : ",") +
            (R"({"directory": ")" + folder.path().string() + R"(", "file": ")" +
             file + R"(", "command": "launcher c++ )" + flag + " -I" + name +
             ".p -MD -MQ " + name + ".o -MF " + name + ".d -o " + name +
             ".o -c " + file + R"("})");
    }

    ScriptResult batches(const std::vector<std::string>& sources)
    {
        folder.write("compile_commands.json", "[" + entries + "]");
        std::vector<std::string> command{"sh",
                                         "-c",
                                         R"(cd "$1" && shift && exec "$@")",
                                         "sh",
                                         folder.path().string(),
                                         SCRIPTS "/lib/tidy_batches.py",
                                         ".",
                                         "batches"};
        for (const std::string& name : sources)
        {
            command.push_back("room/" + name);
        }
        return runScript(command);
    }

    /** The batches, each as the names of its sources. */
    static std::vector<std::string> namesIn(const ScriptResult& result)
    {
        std::vector<std::string> batches;
        std::istringstream files(result.output);
        for (std::string file; std::getline(files, file);)
        {
            std::istringstream content(contentOf(file));
            std::string names;
            for (std::string line; std::getline(content, line);)
            {
                const std::size_t name = line.rfind('/') + 1;
                names += line.substr(name, line.rfind('"') - name) + ' ';
            }
            batches.push_back(names);
        }
        return batches;
    }

    TemporaryFolder folder;
    std::string entries;
};

TEST_F(TidyBatches, ReadSourcesTogetherThatAreCompiledAlike)
{
    source("a.cpp");
    source("b.cpp", "-O0");
    source("c.cpp", "-O0");
    EXPECT_THAT(namesIn(batches({"a.cpp", "b.cpp", "c.cpp"})),
                ElementsAre("b.cpp c.cpp ", "a.cpp "));
}

TEST_F(TidyBatches, ReadEachProgramByItself)
{
    source("a.cpp", "-O2", "int main()\n{}\n");
    source("b.cpp", "-O2", "int main()\n{}\n");
    source("c.cpp");
    source("d.cpp");
    EXPECT_THAT(namesIn(batches({"a.cpp", "b.cpp", "c.cpp", "d.cpp"})),
                ElementsAre("c.cpp d.cpp ", "a.cpp ", "b.cpp "));
}

TEST_F(TidyBatches, KeepSourcesApartThatDefineDifferentThingsForHeaders)
{
    source("a.cpp", "-O2", "#define NAME \"a\"\n");
    source("b.cpp", "-O2", "#define NAME \"b\"\n");
    EXPECT_THAT(namesIn(batches({"a.cpp", "b.cpp"})),
                ElementsAre("a.cpp ", "b.cpp "));
}

TEST_F(TidyBatches, AreCompiledAsTheirSourcesWithoutWhatNamesThem)
{
    source("a.cpp", "-std=c++20");
    batches({"a.cpp"});
    EXPECT_THAT(contentOf(folder.path() / "batches" / "compile_commands.json"),
                AllOf(HasSubstr("\"c++\""), HasSubstr("\"-std=c++20\""),
                      Not(HasSubstr("launcher")), Not(HasSubstr("a.cpp.o")),
                      Not(HasSubstr("a.cpp.p"))));
}

TEST_F(TidyBatches, KnowSourcesThatTheBuildItselfCompilesTogether)
{
    folder.write("room/a.cpp", "int a;\n");
    const std::string both = folder.write(
        "all-unity0.cpp",
        "#include <" + (folder.path() / "room/a.cpp").string() + ">\n");
    entry(both, "-O2", "all-unity0.cpp");
    EXPECT_THAT(namesIn(batches({"a.cpp"})), ElementsAre("a.cpp "));
}

TEST_F(TidyBatches, RefuseASourceThatTheBuildDoesNotCompile)
{
    folder.write("room/a.cpp", "int a;\n");
    EXPECT_NE(batches({"a.cpp"}).status, 0);
}

} // namespace
} // namespace healthintf::test
