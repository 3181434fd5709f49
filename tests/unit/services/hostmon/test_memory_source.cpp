// SPDX-License-Identifier: Apache-2.0
#include "memory_source.hpp"
#include "temporary_folder.hpp"

#include <gtest/gtest.h>

#include <stdexcept>

namespace healthintf::hostmon
{
namespace
{

class AvailableMemory : public testing::Test
{
  protected:
    double read(const std::string& meminfo) const
    {
        return readAvailableMemory(folder.write("meminfo", meminfo));
    }

    test::TemporaryFolder folder;
};

TEST_F(AvailableMemory, IsAPercentageOfAll)
{
    EXPECT_EQ(read("MemTotal:  1000 kB\nMemFree: 1 kB\nMemAvailable:  250 "
                   "kB\n"),
              25);
}

TEST_F(AvailableMemory, IsAnErrorWithoutItsNumbers)
{
    EXPECT_THROW(read("MemTotal: 1000 kB\n"), std::runtime_error);
    EXPECT_THROW(read("MemTotal: 0 kB\nMemAvailable: 0 kB\n"),
                 std::runtime_error);
    EXPECT_THROW(read(""), std::runtime_error);
}

TEST_F(AvailableMemory, IsReadFromThisMachine)
{
    const double available = readAvailableMemory("/proc/meminfo");
    EXPECT_GT(available, 0);
    EXPECT_LE(available, 100);
}

} // namespace
} // namespace healthintf::hostmon
