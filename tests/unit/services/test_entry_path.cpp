// SPDX-License-Identifier: Apache-2.0
#include "common/entry_path.hpp"

#include <gtest/gtest.h>

namespace healthintf::services
{
namespace
{

TEST(ComponentOfAnEntry, IsThePathBeforeIt)
{
    EXPECT_EQ(getComponent("/a/entry/Fault_04D20001_4"), "/a");
    EXPECT_EQ(getComponent("/a/entry/b/entry/Fault_04D20001_4"), "/a/entry/b");
    EXPECT_EQ(getComponent("/a/b"), "");
}

} // namespace
} // namespace healthintf::services
