// SPDX-License-Identifier: Apache-2.0
#include "load_source.hpp"
#include "temporary_folder.hpp"

#include <gtest/gtest.h>

#include <unistd.h>

#include <stdexcept>

namespace healthintf::hostmon
{
namespace
{

TEST(LoadAverage, IsDividedByTheNumberOfProcessors)
{
    const test::TemporaryFolder folder;
    const auto file = folder.write("loadavg", "8.00 4.00 2.00 1/100 999\n");
    const double processors =
        static_cast<double>(sysconf(_SC_NPROCESSORS_ONLN));
    EXPECT_DOUBLE_EQ(readLoadPerProcessor(file, 1), 8 / processors);
    EXPECT_DOUBLE_EQ(readLoadPerProcessor(file, 5), 4 / processors);
    EXPECT_DOUBLE_EQ(readLoadPerProcessor(file, 15), 2 / processors);
}

TEST(LoadAverage, IsAnErrorWithoutItsNumbers)
{
    const test::TemporaryFolder folder;
    EXPECT_THROW(readLoadPerProcessor(folder.write("a", "8.00 4.00"), 1),
                 std::runtime_error);
    EXPECT_THROW(readLoadPerProcessor(folder.path() / "missing", 1),
                 std::runtime_error);
}

TEST(LoadAverage, IsReadFromThisMachine)
{
    EXPECT_GE(readLoadPerProcessor("/proc/loadavg", 1), 0);
}

} // namespace
} // namespace healthintf::hostmon
