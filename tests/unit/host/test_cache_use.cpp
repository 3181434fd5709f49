#include "cache_test.hpp"
#include "data_cache/cache_use.hpp"

#include <platform/data_abstraction/health_status.hpp>

namespace healthintf::host
{
namespace
{

using test::Child;
using test::inChild;

class CacheUseTest : public test::CacheTest
{
  protected:
    /** A process that has the cache open, and lives. */
    static Child user()
    {
        return Child([](const Child::Parent& parent) {
            datacache_healthstatus_create("/a", {{"HealthStatus", 3u}});
            parent.tell("ready");
            Child::Parent::waitForever();
            return 0;
        });
    }
};

TEST_F(CacheUseTest, FindsNoneAndMakesNone)
{
    EXPECT_EQ(dataCacheFolder(), cacheFolder());
    EXPECT_EQ(cacheUse(cacheFolder()), CacheUse::unused);
    EXPECT_FALSE(std::filesystem::exists(cacheFolder()));
}

TEST_F(CacheUseTest, FindsAUserAsLongAsItLives)
{
    Child first = user();
    first.hear();
    EXPECT_EQ(cacheUse(cacheFolder()), CacheUse::open);
    first.kill();
    EXPECT_EQ(cacheUse(cacheFolder()), CacheUse::unused);
}

TEST_F(CacheUseTest, ForbidsWhoMayNotWrite)
{
    namespace fs = std::filesystem;
    Child first = user();
    first.hear();
    fs::permissions(folder.path(), fs::perms(0755));
    fs::permissions(cacheFolder(), fs::perms(0755));
    fs::permissions(cacheFolder() / "data.mdb", fs::perms(0444));
    EXPECT_EQ(inChild([this] {
                  test::leaveRoot();
                  return static_cast<int>(cacheUse(cacheFolder()));
              }),
              static_cast<int>(CacheUse::forbidden));
}

TEST_F(CacheUseTest, ForbidsWhoMayNotEvenLook)
{
    namespace fs = std::filesystem;
    Child first = user();
    first.hear();
    fs::permissions(cacheFolder() / "users", fs::perms::none);
    EXPECT_EQ(inChild([this] {
                  test::leaveRoot();
                  return static_cast<int>(cacheUse(cacheFolder()));
              }),
              static_cast<int>(CacheUse::forbidden));
}

} // namespace
} // namespace healthintf::host
