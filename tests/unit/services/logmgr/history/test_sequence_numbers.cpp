// SPDX-License-Identifier: Apache-2.0
#include "file_content.hpp"
#include "logmgr/history/sequence_numbers.hpp"
#include "temporary_folder.hpp"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <system_error>

namespace healthintf::history
{
namespace
{

class SequenceNumbersTest : public testing::Test
{
  protected:
    test::TemporaryFolder folder;
    std::filesystem::path file = folder.path() / "next-number";
};

TEST_F(SequenceNumbersTest, BeginWithOneAndRise)
{
    SequenceNumbers numbers(file, 0);
    EXPECT_EQ(numbers.take(), 1U);
    EXPECT_EQ(numbers.take(), 2U);
}

TEST_F(SequenceNumbersTest, LeaveNoneOutAfterAnEnd)
{
    SequenceNumbers first(file, 0);
    first.take();
    first.end();
    EXPECT_EQ(test::readContent(file), "2\n");
    EXPECT_EQ(SequenceNumbers(file, 0).take(), 2U);
}

TEST_F(SequenceNumbersTest, NeverComeAgainAfterACrashThatTookTheRecordsBack)
{
    SequenceNumbers first(file, 0);
    for (uint64_t i = 0; i < 2 * SequenceNumbers::step; ++i)
    {
        const uint64_t last = first.take();
        ASSERT_GT(std::stoull(test::readContent(file)), last);
    }
    EXPECT_GT(SequenceNumbers(file, 0).take(), 2 * SequenceNumbers::step);
}

TEST_F(SequenceNumbersTest, AreAboveThoseOfTheRecords)
{
    folder.write("next-number", "5\n");
    EXPECT_EQ(SequenceNumbers(file, 9).take(), 9U);
}

TEST_F(SequenceNumbersTest, IgnoreAFileThatHasNoNumberOfTheirs)
{
    for (const char* content : {"", "many", "-3", "9223372036854775807"})
    {
        folder.write("next-number", content);
        EXPECT_EQ(SequenceNumbers(file, 7).take(), 7U) << content;
    }
}

TEST_F(SequenceNumbersTest, GivesNoneThatItCannotWriteAhead)
{
    SequenceNumbers numbers(folder.path() / "none" / "next-number", 0);
    EXPECT_THROW(numbers.take(), std::system_error);
}

} // namespace
} // namespace healthintf::history
