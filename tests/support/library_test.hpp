// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file The fixture of tests that run the library on the recording platform
 *  and a direct connection. */

#include "direct_connection.hpp"
#include "journal.hpp"
#include "recording_platform.hpp"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace healthintf::test
{

using Lines = std::vector<std::string>;

class LibraryTest : public testing::Test
{
  protected:
    LibraryTest()
    {
        resetPlatform();
        journal().clear();
    }

    /** Puts another process's health record into the data cache. */
    static void haveHealthRecord(const std::string& path, uint32_t health)
    {
        platform().healthRecords[path] = {{"HealthStatus", health}};
    }

    DirectConnection connection;
    sdbusplus::bus_t& bus = connection.bus;
};

} // namespace healthintf::test
