// SPDX-License-Identifier: Apache-2.0
#include "child.hpp"
#include "data_cache/living_owner.hpp"
#include "storage/file_descriptor.hpp"
#include "temporary_folder.hpp"

#include <gtest/gtest.h>

#include <fcntl.h>

#include <cerrno>

namespace healthintf::host
{
namespace
{

class LivingOwner : public testing::Test
{
  protected:
    /** A running process that owns the file. */
    test::Child owner() const
    {
        return test::Child([this](const test::Child::Parent& parent) {
            const FileDescriptor own = openFile();
            if (lockAsOwner(own.get()) != 0)
            {
                return 1;
            }
            parent.tell("locked");
            test::Child::Parent::waitForever();
            return 0;
        });
    }

    FileDescriptor openFile() const
    {
        return FileDescriptor(open(file.c_str(), O_RDWR | O_CLOEXEC));
    }

    test::TemporaryFolder folder;
    const std::string file = folder.write("segment", "x");
};

TEST_F(LivingOwner, IsFoundUntilItIsKilled)
{
    const FileDescriptor opened = openFile();
    EXPECT_FALSE(isOwnerAlive(opened.get()));
    test::Child child = owner();
    child.hear();
    EXPECT_TRUE(isOwnerAlive(opened.get()));
    child.kill();
    EXPECT_FALSE(isOwnerAlive(opened.get()));
}

TEST_F(LivingOwner, ExcludesOtherOwners)
{
    test::Child child = owner();
    child.hear();
    const FileDescriptor opened = openFile();
    EXPECT_EQ(lockAsOwner(opened.get()), EAGAIN);
}

TEST_F(LivingOwner, CannotBeFakedWithReadAccessOnly)
{
    const FileDescriptor readable(open(file.c_str(), O_RDONLY | O_CLOEXEC));
    EXPECT_EQ(lockAsOwner(readable.get()), EBADF);
    struct flock shared
    {};
    shared.l_type = F_RDLCK;
    shared.l_whence = SEEK_SET;
    ASSERT_EQ(fcntl(readable.get(), F_OFD_SETLK, &shared), 0);
    EXPECT_FALSE(isOwnerAlive(openFile().get()));
}

} // namespace
} // namespace healthintf::host
