// SPDX-License-Identifier: Apache-2.0
#include "entry_name.hpp"

#include <gtest/gtest.h>

namespace health_namespace::details
{
namespace
{

TEST(EntryName, PadsProcessAndNumberToFourDigits)
{
    EXPECT_EQ(entryName(0x4D2, 0xA, 4), "Fault_04D2000A_4");
    EXPECT_EQ(entryName(0, 0, 0), "Fault_00000000_0");
    EXPECT_EQ(entryName(0xFFFF, 0xFFFF, 1), "Fault_FFFFFFFF_1");
}

TEST(EntryName, KeepsEveryDigitOfALargeProcessId)
{
    EXPECT_EQ(entryName(0x12345, 0x1, 3), "Fault_123450001_3");
    EXPECT_EQ(entryName(0x3FFFFF, 0xFFFF, 3), "Fault_3FFFFFFFFF_3");
    EXPECT_EQ(entryName(UINT32_MAX, 0xFFFF, UINT32_MAX),
              "Fault_FFFFFFFFFFFF_FFFFFFFF");
}

TEST(EntryName, DiffersForProcessesWhoseIdsBeginAlike)
{
    EXPECT_NE(entryName(0x1234, 0x5678, 4), entryName(0x12345, 0x678, 4));
    EXPECT_NE(entryName(0x123, 0x4567, 4), entryName(0x1234, 0x567, 4));
}

} // namespace
} // namespace health_namespace::details
