// SPDX-License-Identifier: Apache-2.0
#include "cache_test.hpp"
#include "child_identity.hpp"
#include "data_cache/cache_space.hpp"
#include "directories.hpp"

#include <platform/data_abstraction/fault_entry.hpp>
#include <platform/data_abstraction/health_status.hpp>

#include <cstdlib>
#include <filesystem>
#include <string>

namespace healthintf::host
{
namespace
{

using test::Child;
using test::inChild;

class CacheSpaceTest : public test::CacheTest
{
  protected:
    /** A running process that owns records. */
    static Child user(const std::string& path = "/a", std::size_t text = 0)
    {
        return Child([path, text](const Child::Parent& parent) {
            datacache_faultentry_create(path,
                                        {{"Message", std::string(text, 'x')}});
            test::sendIdentity(parent);
            Child::Parent::waitForever();
            return 0;
        });
    }
};

TEST_F(CacheSpaceTest, FindsNoCacheAndCreatesNone)
{
    EXPECT_EQ(dataCacheFolder(), cacheFolder());
    EXPECT_EQ(cacheUse(cacheFolder()), CacheUse::unused);
    EXPECT_EQ(measureCache()->segments, 0U);
    EXPECT_FALSE(std::filesystem::exists(cacheFolder()));
}

TEST_F(CacheSpaceTest, FindsAUserWhileItRuns)
{
    Child first = user();
    first.hear();
    EXPECT_EQ(cacheUse(cacheFolder()), CacheUse::open);
    EXPECT_EQ(measureCache()->segments, 1U);
    first.kill();
    EXPECT_EQ(cacheUse(cacheFolder()), CacheUse::unused);
    EXPECT_EQ(measureCache()->segments, 0U);
}

TEST_F(CacheSpaceTest, FindsAUserWithReadAccessOnly)
{
    Child first = user();
    first.hear();
    std::filesystem::permissions(folder.path(), std::filesystem::perms(0755));
    EXPECT_EQ(inChild([this] {
                  test::leaveRoot();
                  return static_cast<int>(cacheUse(cacheFolder()));
              }),
              static_cast<int>(CacheUse::open));
}

TEST_F(CacheSpaceTest, ReportsACacheWithoutAccess)
{
    Child first = user();
    first.hear();
    std::filesystem::permissions(folder.path(), std::filesystem::perms(0755));
    std::filesystem::permissions(cacheFolder(), std::filesystem::perms::none);
    EXPECT_EQ(inChild([this] {
                  test::leaveRoot();
                  return static_cast<int>(cacheUse(cacheFolder()));
              }),
              static_cast<int>(CacheUse::forbidden));
    EXPECT_EQ(cacheUse(folder.write("file", "")), CacheUse::forbidden);
}

TEST_F(CacheSpaceTest, IsAlmostUnusedAtFirst)
{
    unsetenv("HEALTHINTF_CACHE_MIB");
    Child first = user();
    const ProcessIdentity owner = test::receiveIdentity(first);
    const CacheSpace space = *measureCache();
    EXPECT_EQ(space.fullestCapacity,
              sizeof(void*) > 4 ? 256U << 20 : 64U << 20);
    EXPECT_GT(space.usedBytes, 0U);
    EXPECT_LT(space.usedBytes, 16384U);
    EXPECT_EQ(space.fullest, owner);
}

TEST_F(CacheSpaceTest, GrowsByAdditionsAndShrinksByRemovals)
{
    EXPECT_EQ(inChild([] {
                  constexpr std::size_t size = 100'000;
                  datacache_faultentry_create("/a", {});
                  const uint64_t before = measureCache()->usedBytes;
                  datacache_faultentry_create(
                      "/b", {{"Message", std::string(size, 'x')}});
                  const uint64_t grown = measureCache()->usedBytes - before;
                  datacache_faultentry_remove("/b");
                  return grown >= size && grown < 2 * size &&
                                 measureCache()->usedBytes == before
                             ? 0
                             : 1;
              }),
              0);
}

TEST_F(CacheSpaceTest, IsTheSumOfAllAndNamesTheFullest)
{
    Child small = user("/a");
    Child large = user("/b", 50'000);
    Child smallToo = user("/c");
    small.hear();
    const ProcessIdentity largest = test::receiveIdentity(large);
    smallToo.hear();
    const CacheSpace space = *measureCache();
    EXPECT_EQ(space.segments, 3U);
    EXPECT_EQ(space.fullest, largest);
    EXPECT_GT(space.fullestUsedBytes, 50'000U);
    EXPECT_GT(space.usedBytes, space.fullestUsedBytes);
    EXPECT_LT(space.usedBytes, space.fullestUsedBytes + 32'768);
}

TEST_F(CacheSpaceTest, ReachesTheCapacityWhereRecordsAreRefused)
{
    setenv("HEALTHINTF_CACHE_MIB", "1", 1);
    std::string errors;
    EXPECT_EQ(inChild(
                  [] {
                      int number = 0;
                      while (datacache_faultentry_create(
                                 "/fill/" + std::to_string(number),
                                 {{"Message", std::string(2000, 'x')}}) == 0)
                      {
                          ++number;
                      }
                      const CacheSpace space = *measureCache();
                      return space.fullestCapacity == 1U << 20 &&
                                     space.fullestUsedBytes >
                                         space.fullestCapacity / 10 * 9 &&
                                     space.fullestUsedBytes <=
                                         space.fullestCapacity
                                 ? 0
                                 : 1;
                  },
                  &errors),
              0);
}

TEST_F(CacheSpaceTest, IsUnknownForACacheThatCannotBeRead)
{
    folder.write("datacache", "no folder");
    std::string errors;
    EXPECT_EQ(inChild(
                  [] {
                      return measureCache() ? 1 : 0;
                  },
                  &errors),
              0);
    EXPECT_NE(errors.find("data cache"), std::string::npos);
}

} // namespace
} // namespace healthintf::host
