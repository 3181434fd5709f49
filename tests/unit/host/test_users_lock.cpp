#include "child.hpp"
#include "storage/users_lock.hpp"
#include "temporary_folder.hpp"

#include <gtest/gtest.h>

#include <system_error>

namespace healthintf::host
{
namespace
{

using test::Child;

class UsersLockOfAFolder : public testing::Test
{
  protected:
    test::TemporaryFolder folder;
    std::filesystem::path file = folder.path() / "users";
};

TEST_F(UsersLockOfAFolder, IsAloneWhenNobodyElseHoldsIt)
{
    EXPECT_TRUE(UsersLock(file).alone());
    EXPECT_TRUE(UsersLock(file).alone()) << "again, the first being gone";
}

TEST_F(UsersLockOfAFolder, IsSharedOnceTheFirstUserLetsOthersIn)
{
    UsersLock first(file);
    first.letOthersIn();
    EXPECT_FALSE(first.alone());
    const UsersLock second(file);
    EXPECT_FALSE(second.alone());
}

TEST_F(UsersLockOfAFolder, KeepsOthersOutUntilTheFirstUserIsReady)
{
    UsersLock first(file);
    Child other([this](const Child::Parent& parent) {
        parent.tell("waiting");
        const UsersLock lock(file);
        parent.tell(lock.alone() ? "alone" : "shared");
        return 0;
    });
    EXPECT_EQ(other.hear(), "waiting");
    first.letOthersIn();
    EXPECT_EQ(other.hear(), "shared");
}

TEST_F(UsersLockOfAFolder, LetsOthersInWhenTheFirstUserDies)
{
    Child first([this](const Child::Parent& parent) {
        const UsersLock lock(file);
        parent.tell(lock.alone() ? "alone" : "shared");
        Child::Parent::waitForever();
        return 0;
    });
    EXPECT_EQ(first.hear(), "alone");
    first.kill();
    EXPECT_TRUE(UsersLock(file).alone());
}

TEST_F(UsersLockOfAFolder, IsAnErrorWithoutTheFolder)
{
    EXPECT_THROW(UsersLock("/nonexistent/users"), std::system_error);
}

} // namespace
} // namespace healthintf::host
