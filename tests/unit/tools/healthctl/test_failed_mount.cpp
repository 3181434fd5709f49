// SPDX-License-Identifier: Apache-2.0
#include <doctor/failed_mount.hpp>
#include <gtest/gtest.h>
#include <sys/sysmacros.h>

#include <sstream>
#include <string>

namespace healthintf::healthctl
{
namespace
{

bool isFailed(unsigned int device, const std::string& options)
{
    std::istringstream mounts(
        "21 1 7:0 / / rw,relatime - ext4 /dev/root rw,emergency_ro\n"
        "22 21 7:12 / /a\\040b rw,relatime shared:1 - ext4 /dev/x " +
        options + "\n23 21 7:1 / /run rw - tmpfs tmpfs rw\n");
    return isFailedMount(mounts, makedev(7, device));
}

TEST(FailedMount, IsOneWhoseOptionsSaySo)
{
    EXPECT_TRUE(isFailed(12, "rw,emergency_ro"));
    EXPECT_TRUE(isFailed(12, "rw,emergency_ro,errors=remount-ro"));
    EXPECT_TRUE(isFailed(12, "rw,shutdown"));
    EXPECT_FALSE(isFailed(12, "rw,errors=remount-ro"));
    EXPECT_FALSE(isFailed(12, "rw,not_emergency_ro"));
}

TEST(FailedMount, IsNoOtherFilesystem)
{
    EXPECT_TRUE(isFailed(0, "rw"));
    EXPECT_FALSE(isFailed(1, "rw,emergency_ro"));
    EXPECT_FALSE(isFailed(2, "rw,emergency_ro"));
}

TEST(FailedMount, MayStandInNoList)
{
    std::istringstream nothing("");
    EXPECT_FALSE(isFailedMount(nothing, makedev(7, 0)));
    std::istringstream odd("\n \n7:0\n");
    EXPECT_FALSE(isFailedMount(odd, makedev(7, 0)));
}

} // namespace
} // namespace healthintf::healthctl
