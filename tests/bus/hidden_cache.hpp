// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Makes the data cache unreadable. */

#include "directories.hpp"

#include <filesystem>
#include <fstream>
#include <string>

namespace healthintf::test
{

/** Hides the data cache's folder until this object goes out of scope. */
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

    /** Closes a file that was open for writing, as the end of a daemon does. */
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
