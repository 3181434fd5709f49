#include "filesystem_source.hpp"

#include <gtest/gtest.h>

#include <stdexcept>

namespace healthintf::hostmon
{
namespace
{

TEST(FilesystemUsage, IsAPercentage)
{
    const double used = usedPercent("/");
    EXPECT_GT(used, 0);
    EXPECT_LE(used, 100);
}

TEST(FilesystemUsage, IsAnErrorWhereThereIsNone)
{
    EXPECT_THROW(usedPercent("/nonexistent"), std::runtime_error);
    EXPECT_THROW(usedPercent("/proc"), std::runtime_error)
        << "a filesystem without a size";
}

} // namespace
} // namespace healthintf::hostmon
