#pragma once

/** @file The project as it is installed, in a folder of the test. */

#include "process.hpp"
#include "temporary_folder.hpp"

#include <filesystem>
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

/** Installs what was built; programs find its libraries and registries. */
class Installation
{
  public:
    Installation()
    {
        outputOf({MESON, "install", "-C", BUILD_FOLDER, "--destdir",
                  folder.path(), "--no-rebuild", "--quiet"});
        setenv("LD_LIBRARY_PATH", at(LIBRARY_FOLDERS).c_str(), 1);
        setenv("HEALTHINTF_REGISTRY_PATH",
               at(PREFIX "/share/healthintf/registries").c_str(), 1);
        setenv("PKG_CONFIG_PATH", at(LIBRARY_FOLDERS "/pkgconfig").c_str(), 1);
        setenv("PKG_CONFIG_SYSROOT_DIR", folder.path().c_str(), 1);
    }

    /** Where an installed path really lies. */
    std::filesystem::path at(const std::string& path) const
    {
        return folder.path() / path.substr(1);
    }

    /** A program of the installation. */
    std::string program(const std::string& name) const
    {
        return at(LIBEXEC_FOLDER "/healthintf") / name;
    }

    /** Compiles against the installation.
     *
     *  @throws std::runtime_error with the compiler's errors */
    void compile(const std::vector<std::string>& arguments) const
    {
        std::vector<std::string> command = words(COMPILER);
        command.insert(command.end(), {"-std=c++20", "-O1", "-Wall", "-Wextra",
                                       "-Wpedantic", "-Werror"});
        command.insert(command.end(), arguments.begin(), arguments.end());
        for (const std::string& flag : words(
                 outputOf({"pkg-config", "--cflags", "--libs", "healthintf"})))
        {
            command.push_back(flag);
        }
        outputOf(command);
    }

    const TemporaryFolder& files() const
    {
        return folder;
    }

  private:
    TemporaryFolder folder;
};

/** The installation of this test program. */
inline const Installation& installation()
{
    static const Installation made;
    return made;
}

} // namespace healthintf::test
