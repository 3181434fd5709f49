// SPDX-License-Identifier: Apache-2.0
#include "pressure_source.hpp"
#include "temporary_folder.hpp"

#include <gtest/gtest.h>

#include <stdexcept>

namespace healthintf::hostmon
{
namespace
{

TEST(PressureOfAResource, IsTheShareOfSomeTasksInItsPeriod)
{
    const test::TemporaryFolder folder;
    const auto file =
        folder.write("io", "some avg10=1.50 avg60=2.25 avg300=3.00 total=1\n"
                           "full avg10=9.00 avg60=9.00 avg300=9.00 total=1\n");
    EXPECT_EQ(readPressurePercent(file, 10), 1.5);
    EXPECT_EQ(readPressurePercent(file, 60), 2.25);
    EXPECT_EQ(readPressurePercent(file, 300), 3);
}

TEST(PressureOfAResource, IsAnErrorWhereTheKernelKeepsNone)
{
    EXPECT_THROW(readPressurePercent("/nonexistent/io", 10),
                 std::runtime_error);
}

} // namespace
} // namespace healthintf::hostmon
