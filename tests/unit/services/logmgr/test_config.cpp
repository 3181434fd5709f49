// SPDX-License-Identifier: Apache-2.0
#include "../config_refusal.hpp"
#include "common/config_table.hpp"
#include "logmgr/config.hpp"
#include "temporary_folder.hpp"

#include <gtest/gtest.h>

namespace healthintf::logmgr
{
namespace
{

Config parse(const std::string& text)
{
    return parseConfig(text, "f");
}

std::string catchError(const std::string& text)
{
    return test::catchConfigError([&text] {
        parse(text);
    });
}

TEST(LogConfig, HasDefaultValues)
{
    EXPECT_EQ(parse("").capacity, 4096);
    EXPECT_EQ(parse("").overflow, Overflow::refuse);
}

TEST(LogConfig, TakesCapacityAndOverflow)
{
    const Config config = parse("capacity = 65534\noverflow = \"wrap\"\n");
    EXPECT_EQ(config.capacity, 65534);
    EXPECT_EQ(config.overflow, Overflow::wrap);
    EXPECT_EQ(parse("capacity = 1\noverflow = \"refuse\"\n").overflow,
              Overflow::refuse);
}

TEST(LogConfig, BoundsTheHistory)
{
    EXPECT_TRUE(parse("").keepsHistory);
    EXPECT_FALSE(parse("history = false").keepsHistory);
    const Config config =
        parse("history-records = 1000\nhistory-mebibytes = 1024\n");
    EXPECT_EQ(config.historyLimits.records, 1000U);
    EXPECT_EQ(config.historyLimits.bytes, 1UL << 30);
    EXPECT_EQ(catchError("history-records = 999"),
              "f:1: history-records: must be a whole number from 1000 to "
              "1000000");
    EXPECT_EQ(catchError("history-mebibytes = 3"),
              "f:1: history-mebibytes: must be a whole number from 4 to 1024");
}

TEST(LogConfig, NamesTheLineAndTheKeyThatAreWrong)
{
    const std::string range = "must be a whole number from 1 to 65534";
    EXPECT_EQ(catchError("capacity = 0"), "f:1: capacity: " + range);
    EXPECT_EQ(catchError("\ncapacity = 65535"), "f:2: capacity: " + range);
    EXPECT_EQ(catchError("capacity = \"4\""), "f:1: capacity: " + range);
    EXPECT_EQ(catchError("overflow = \"drop\""),
              "f:1: overflow: must be one of \"refuse\", \"wrap\"");
    EXPECT_EQ(catchError("size = 4"), "f:1: size: is no known key");
}

TEST(LogConfig, MayBeMissingAtTheDefaultPath)
{
    const test::TemporaryFolder folder;
    const auto none = folder.path() / "none";
    const auto file = folder.write("file", "capacity = 5");
    EXPECT_EQ(loadConfig("", none).capacity, 4096);
    EXPECT_EQ(loadConfig("", file).capacity, 5);
    EXPECT_EQ(loadConfig(file, none).capacity, 5);
    EXPECT_THROW(loadConfig(none, file), services::ConfigError);
}

TEST(LogConfig, IsShippedWithTheDefaultValues)
{
    const Config shipped = loadConfig(SHIPPED_CONFIG, "");
    EXPECT_EQ(shipped.capacity, Config{}.capacity);
    EXPECT_EQ(shipped.overflow, Config{}.overflow);
}

} // namespace
} // namespace healthintf::logmgr
