// SPDX-License-Identifier: Apache-2.0
/** @file Another project builds this one as its subproject. */

#include "bus_client.hpp"
#include "documents.hpp"
#include "file_content.hpp"
#include "private_bus.hpp"
#include "search_path.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <string>
#include <vector>

namespace healthintf::test
{
namespace
{

using testing::HasSubstr;
using testing::Not;
using testing::UnorderedElementsAre;
namespace fs = std::filesystem;

const std::string fan = "/com/vexa/olvar/health/chassis/fan7";

/** A project with one program and this project as its subproject. */
class MainProject
{
  public:
    explicit MainProject(const std::string& program,
                         const std::vector<std::string>& options = {},
                         const std::string& language = "cpp")
    {
        const std::string source = "program." + language;
        folder.write(source, program);
        folder.write("meson.build",
                     "project('user', '" + language +
                         "')\n"
                         "executable('program', '" +
                         source +
                         "', dependencies:\n"
                         "  dependency('healthintf',\n"
                         "    fallback: ['healthintf', 'healthintf_dep']))\n");
        fs::create_directory(folder.path() / "subprojects");
        fs::create_directory_symlink(SOURCE_FOLDER,
                                     folder.path() / "subprojects/healthintf");
        // The compiler's own flags set the C++ standard. A unity build takes a
        // fifth of the time.
        std::vector<std::string> setup{MESON,
                                       "setup",
                                       build,
                                       folder.path(),
                                       "-Dhealthintf:cpp_std=none",
                                       "-Dbuildtype=plain",
                                       "-Dunity=subprojects",
                                       "-Dunity_size=100",
                                       "-Dwerror=true",
                                       "-Dwarning_level=3"};
        // The flags are part of the compiler's command, because a test's
        // options replace CXXFLAGS. A C project need not set C++ flags.
        std::string compiler = "CXX=" COMPILER " " STANDARD;
        if (language == "cpp")
        {
            setup.emplace_back("-Dcpp_std=none");
            compiler += " " SDBUSPLUS_FLAGS;
        }
        setup.insert(setup.end(), options.begin(), options.end());
        configured =
            readOutput(setup, {compiler, "CC=" C_COMPILER}, compilerPatience);
    }

    /** The output of the configuration. */
    const std::string& configuration() const
    {
        return configured;
    }

    /** The targets of the build. */
    std::vector<std::string> targets() const
    {
        std::vector<std::string> names;
        for (const auto& target : nlohmann::json::parse(
                 readOutput({MESON, "introspect", "--targets", build})))
        {
            names.push_back(target.at("name"));
        }
        return names;
    }

    /** The files that would be installed, and their destinations. */
    std::string installed() const
    {
        return readOutput({MESON, "introspect", "--installed", build});
    }

    void compile() const
    {
        readOutput({MESON, "compile", "-C", build}, {}, compilerPatience);
    }

    /** Runs the program with the libraries that were built for it. */
    Process run(const std::vector<std::string>& arguments = {}) const
    {
        const std::string ours = build / "subprojects/healthintf";
        const std::string libraries = ours + "/src:" + ours + "/platform/host";
        std::vector<std::string> command{build / "program"};
        command.insert(command.end(), arguments.begin(), arguments.end());
        return Process(
            command,
            {"LD_LIBRARY_PATH=" + withFolder(libraries, "LD_LIBRARY_PATH"),
             "HEALTHINTF_REGISTRY_PATH=" SOURCE_FOLDER "/data/registries"});
    }

    /** The libraries that libhealthintf needs. */
    std::string needed() const
    {
        return readOutput(
            {"readelf", "-d",
             build / "subprojects/healthintf/src/libhealthintf.so.1"});
    }

  private:
    TemporaryFolder folder;
    fs::path build = folder.path() / "build";
    std::string configured;
};

TEST(Subproject, BuildsOnlyTheLibraryAndThePlatform)
{
    const MainProject project(
        firstProgram(readContent(SOURCE_FOLDER "/README.md"), "cpp"));
    EXPECT_THAT(project.configuration(), Not(HasSubstr("WARNING")));
    ASSERT_THAT(project.targets(),
                UnorderedElementsAre(
                    "program", "healthintf", "healthintf-objects",
                    "healthintf-platform", "healthintf-platform-objects"));
    EXPECT_THAT(project.installed(), HasSubstr("/ipmi-event-types.json"));
    EXPECT_THAT(project.installed(), HasSubstr("/ipmi-sensor-types.json"));
    project.compile();

    const PrivateBus bus;
    BusClient client;
    const Process daemon = project.run();
    client.waitForHealth(fan, 4);
}

TEST(Subproject, ServesADaemonInC)
{
    const MainProject project(
        firstProgram(readContent(SOURCE_FOLDER "/README.md"), "c"), {}, "c");
    project.compile();

    const PrivateBus bus;
    BusClient client;
    const Process daemon = project.run();
    client.waitForHealth(fan, 4);
}

TEST(Subproject, UsesThePlatformOfAnotherPackage)
{
    const TemporaryFolder packages;
    packages.write("board-platform.pc", "Name: board-platform\n"
                                        "Description: The platform of a board\n"
                                        "Version: 1\n"
                                        "Libs: -L" PLATFORM_FOLDER
                                        " -ltest-recording -ltest-text\n");
    lookInto(packages.path(), "PKG_CONFIG_PATH");
    const MainProject project(
        readContent(SOURCE_FOLDER "/tests/bus/component_daemon.cpp"),
        {"-Dhealthintf:platform=board-platform",
         "-Dcpp_args=-I" SOURCE_FOLDER "/tests/bus"});
    ASSERT_THAT(project.targets(), UnorderedElementsAre("program", "healthintf",
                                                        "healthintf-objects"));
    EXPECT_THAT(project.installed(), Not(HasSubstr("/ipmi-event-types.json")));
    project.compile();
    EXPECT_THAT(project.needed(), Not(HasSubstr("healthintf-platform")));

    const PrivateBus bus;
    const BusClient client;
    Process daemon = project.run({"own-loop"});
    const std::string owner = daemon.ask("init " + fan + " 2");
    EXPECT_EQ(client.health(owner, fan), 2u);
}

/** Builds the platform skeleton as a platform team would, and puts its package
 *  on the search path. */
void buildSkeleton(const TemporaryFolder& folder)
{
    // Without an installed sdbusplus, use the stand-in's package.
    folder.write("sdbusplus-lite.pc",
                 "Name: sdbusplus-lite\nDescription: The stand-in\n"
                 "Version: 1\nCflags: -I" SOURCE_FOLDER
                 "/subprojects/sdbusplus-lite/include\n");
    lookInto(folder.path(), "PKG_CONFIG_PATH");
    const fs::path build = folder.path() / "build";
    readOutput({MESON, "setup", build, SOURCE_FOLDER "/examples/platform",
                "-Dcontract=" SOURCE_FOLDER "/platform/include",
                "-Dcpp_std=none", "-Dwerror=true"},
               {"CXX=" COMPILER, "CXXFLAGS=" STANDARD " " SDBUSPLUS_FLAGS});
    readOutput({MESON, "compile", "-C", build}, {}, compilerPatience);
    lookInto(build / "meson-uninstalled", "PKG_CONFIG_PATH");
    lookInto(build, "LD_LIBRARY_PATH");
}

TEST(Subproject, WorksOnTheSkeletonOfAPlatform)
{
    const TemporaryFolder folder;
    buildSkeleton(folder);
    const MainProject project(
        readContent(SOURCE_FOLDER "/tests/bus/component_daemon.cpp"),
        {"-Dhealthintf:platform=acme-platform",
         "-Dcpp_args=-I" SOURCE_FOLDER "/tests/bus"});
    project.compile();
    EXPECT_THAT(project.needed(), HasSubstr("libacme-platform.so"));

    const PrivateBus bus;
    const BusClient client;
    Process daemon = project.run({"own-loop"});
    const std::string owner = daemon.ask("init " + fan + " 2");
    EXPECT_EQ(client.health(owner, fan), 2u);
    EXPECT_EQ(daemon.ask("message " + fan + " Fan.1.0.Gone /fan"), "5");
    EXPECT_EQ(daemon.ask("add " + fan + " FAN0001 /fan 1"), "0");
    EXPECT_THAT(client.objects(owner), testing::SizeIs(2));
    EXPECT_EQ(daemon.ask("remove " + fan + " FAN0001 /fan"), "0");
    EXPECT_THAT(client.objects(owner), testing::SizeIs(1));
    EXPECT_EQ(client.health(owner, fan), 2u);
}

} // namespace
} // namespace healthintf::test
