// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file A folder that is removed at the end of scope. */

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>

namespace healthintf::test
{

class TemporaryFolder
{
  public:
    TemporaryFolder()
    {
        std::string name =
            std::filesystem::temp_directory_path() / "healthintf-test.XXXXXX";
        if (mkdtemp(name.data()) == nullptr)
        {
            throw std::runtime_error("unable to make a temporary folder");
        }
        folder = name;
    }

    ~TemporaryFolder()
    {
        std::error_code ignored;
        std::filesystem::remove_all(folder, ignored);
    }

    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    const std::filesystem::path& path() const
    {
        return folder;
    }

    /** Writes a file and creates its parent folders.
     *
     *  @return its path */
    std::filesystem::path write(const std::filesystem::path& name,
                                const std::string& content) const
    {
        const std::filesystem::path file = folder / name;
        std::filesystem::create_directories(file.parent_path());
        std::ofstream(file, std::ios::binary) << content;
        return file;
    }

  private:
    std::filesystem::path folder;
};

} // namespace healthintf::test
