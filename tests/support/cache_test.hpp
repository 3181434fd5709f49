// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file The fixture of tests of the host's data cache, in a folder of its own.
 *  A process creates one segment in its life, so each test works in child
 *  processes. */

#include "child.hpp"
#include "temporary_folder.hpp"

#include <gtest/gtest.h>

#include <cstdlib>

namespace healthintf::test
{

class CacheTest : public testing::Test
{
  protected:
    CacheTest()
    {
        setenv("HEALTHINTF_RUNTIME_DIR", folder.path().c_str(), 1);
        // valgrind searches the whole mapping of a segment for leaks.
        const char* small = getenv("HEALTHINTF_TEST_CACHE_MIB");
        if (small == nullptr)
        {
            unsetenv("HEALTHINTF_CACHE_MIB");
            return;
        }
        setenv("HEALTHINTF_CACHE_MIB", small, 1);
    }

    std::filesystem::path cacheFolder() const
    {
        return folder.path() / "datacache";
    }

    TemporaryFolder folder;
};

} // namespace healthintf::test
