// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file A System Event Log in a temporary folder. */

#include "file_content.hpp"
#include "logmgr/sel_store.hpp"
#include "temporary_folder.hpp"

#include <gtest/gtest.h>

#include <filesystem>
#include <optional>
#include <string>

namespace healthintf::logmgr
{

/** The content of a file without the unused blocks at its end. */
inline std::string writtenIn(const std::filesystem::path& file)
{
    constexpr std::size_t page = 4096;
    std::string content = test::readContent(file);
    const std::size_t last = content.find_last_not_of('\0');
    content.resize((last / page + 1) * page);
    return content;
}

class StoreTest : public testing::Test
{
  protected:
    /** Opens the log, or opens it again. */
    SelStore& open()
    {
        store.reset();
        return store.emplace(path);
    }

    test::TemporaryFolder folder;
    std::filesystem::path path = folder.path() / "deep" / "sel";
    std::filesystem::path file = path / "data.mdb";
    std::optional<SelStore> store;
};

} // namespace healthintf::logmgr
