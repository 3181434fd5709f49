// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Installs the project into a folder of the test. */

#include "file_content.hpp"
#include "process.hpp"
#include "search_path.hpp"
#include "temporary_folder.hpp"

#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace healthintf::test
{

inline std::vector<std::string> words(const std::string& text)
{
    std::istringstream stream(text);
    std::vector<std::string> all;
    for (std::string word; stream >> word;)
    {
        all.push_back(word);
    }
    return all;
}

/** Installs the build; programs find its libraries and data. */
class Installation
{
  public:
    Installation()
    {
        readOutput({MESON, "install", "-C", BUILD_FOLDER, "--destdir",
                    folder.path(), "--no-rebuild", "--quiet"});
        relocatePackages();
        lookInto(at(LIBRARY_FOLDERS), "LD_LIBRARY_PATH");
        lookInto(packages(), "PKG_CONFIG_PATH");
        setenv("HEALTHINTF_REGISTRY_PATH",
               at(PREFIX "/share/healthintf/registries").c_str(), 1);
        setenv("HEALTHINTF_EVENT_PATH",
               at(PREFIX "/share/healthintf/events").c_str(), 1);
    }

    /** The real path of an installed path. */
    std::filesystem::path at(const std::string& path) const
    {
        return folder.path() / path.substr(1);
    }

    /** The path of an installed program. */
    std::string program(const std::string& name) const
    {
        return at(LIBEXEC_FOLDER "/healthintf") / name;
    }

    /** Compiles C++ with the flags of the installed package only.
     *
     *  @throws std::runtime_error with the compiler's errors */
    void compile(const std::vector<std::string>& arguments) const
    {
        compileBy(
            COMPILER " " +
                readOutput({"pkg-config", "--variable=cxxflags", "healthintf"}),
            arguments);
    }

    /** Compiles C with the flags of the installed package only. */
    void compileC(const std::vector<std::string>& arguments) const
    {
        compileBy(C_COMPILER " -std=c99", arguments);
    }

    const TemporaryFolder& files() const
    {
        return folder;
    }

  private:
    TemporaryFolder folder;

    static void compileBy(const std::string& compiler,
                          const std::vector<std::string>& arguments)
    {
        std::vector<std::string> command = words(compiler);
        command.insert(command.end(),
                       {"-O1", "-Wall", "-Wextra", "-Wpedantic", "-Werror"});
        command.insert(command.end(), arguments.begin(), arguments.end());
        for (const std::string& flag : words(readOutput(
                 {"pkg-config", "--cflags", "--libs", "healthintf"})))
        {
            command.push_back(flag);
        }
        readOutput(command, {}, compilerPatience);
    }

    std::filesystem::path packages() const
    {
        return at(LIBRARY_FOLDERS "/pkgconfig");
    }

    /** Writes the folder into the packages' .pc files. PKG_CONFIG_SYSROOT_DIR
     *  would relocate the other packages as well, which are not in the folder.
     */
    void relocatePackages() const
    {
        const std::string prefix = "prefix=";
        for (const auto& file : std::filesystem::directory_iterator(packages()))
        {
            std::string text = readContent(file);
            text.replace(text.find(prefix + PREFIX), prefix.size(),
                         prefix + folder.path().string());
            std::ofstream(file.path(), std::ios::binary) << text;
        }
    }
};

/** The installation that the tests of this program share. */
inline const Installation& installation()
{
    static const Installation made;
    return made;
}

} // namespace healthintf::test
