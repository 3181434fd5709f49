// SPDX-License-Identifier: Apache-2.0
#include "child.hpp"
#include "storage/file_lock.hpp"
#include "temporary_folder.hpp"

#include <gtest/gtest.h>

#include <system_error>

namespace healthintf::host
{
namespace
{

using test::Child;
using Kind = LockFile::Kind;

class FileLock : public testing::Test
{
  protected:
    test::TemporaryFolder folder;
    std::filesystem::path path = folder.path() / "lock";
};

TEST_F(FileLock, IsSharedOrExclusive)
{
    LockFile first(path);
    LockFile second(path);
    EXPECT_TRUE(first.tryLock(Kind::shared));
    EXPECT_TRUE(second.tryLock(Kind::shared));
    EXPECT_FALSE(second.tryLock(Kind::exclusive));
    EXPECT_TRUE(first.tryLock(Kind::none));
    EXPECT_TRUE(second.tryLock(Kind::exclusive));
    EXPECT_FALSE(first.tryLock(Kind::shared));
}

TEST_F(FileLock, EndsWithItsOpenFile)
{
    LockFile first(path);
    {
        LockFile exclusive(path);
        exclusive.lock(Kind::exclusive);
        EXPECT_FALSE(first.tryLock(Kind::shared));
    }
    EXPECT_TRUE(first.tryLock(Kind::shared));
}

TEST_F(FileLock, EndsWithAProcessThatIsKilled)
{
    Child holder([this](const Child::Parent& parent) {
        LockFile held(path);
        held.lock(Kind::exclusive);
        parent.tell("held");
        Child::Parent::waitForever();
        return 0;
    });
    holder.hear();
    LockFile file(path);
    EXPECT_FALSE(file.tryLock(Kind::exclusive));
    holder.kill();
    file.lock(Kind::exclusive);
}

TEST_F(FileLock, IsShownAsLostWhenItsFileIsRemoved)
{
    const LockFile first(path);
    EXPECT_TRUE(first.isInPlace());
    std::filesystem::remove(path);
    EXPECT_FALSE(first.isInPlace());
    const LockFile second(path);
    EXPECT_FALSE(first.isInPlace());
    EXPECT_TRUE(second.isInPlace());
}

TEST_F(FileLock, IsAnErrorWhereNoFileCanBeCreated)
{
    EXPECT_THROW(LockFile(folder.path() / "none" / "lock"), std::system_error);
}

} // namespace
} // namespace healthintf::host
