// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file A data cache that cannot be read. */

#include "directories.hpp"

#include <filesystem>
#include <fstream>
#include <string>

namespace healthintf::test
{

/** The data cache's folder out of reach while this lives. */
class HiddenCache
{
  public:
    HiddenCache()
    {
        std::filesystem::rename(folder, aside);
        std::ofstream(folder) << "no folder";
    }

    ~HiddenCache()
    {
        std::filesystem::remove(folder);
        std::filesystem::rename(aside, folder);
    }

    /** Ends the writing of a file, as the end of a daemon does. */
    void stir() const
    {
        std::ofstream(aside / "file") << "x";
    }

    HiddenCache(const HiddenCache&) = delete;
    HiddenCache& operator=(const HiddenCache&) = delete;

  private:
    const std::filesystem::path folder = host::dataCacheFolder();
    const std::filesystem::path aside = folder.string() + ".aside";
};

} // namespace healthintf::test
