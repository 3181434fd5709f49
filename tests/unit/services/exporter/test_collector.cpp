// SPDX-License-Identifier: Apache-2.0
#include "cache_test.hpp"
#include "collector.hpp"

#include <platform/data_abstraction/health_status.hpp>

namespace healthintf::exporter
{
namespace
{

class CollectorTest : public test::CacheTest
{
  protected:
    CollectorTest()
    {
        setenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nowhere", 1);
        setenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nowhere", 1);
    }

    /** Checks a snapshot that a new process collects. */
    static int judged(const std::function<bool(const Snapshot&)>& isRight)
    {
        return test::inChild([&isRight] {
            services::EventLoop loop;
            datacache_healthstatus_create("/r", {{"HealthStatus", 3u}});
            return isRight(Collector(loop).collect()) ? 0 : 1;
        });
    }
};

TEST_F(CollectorTest, FindsWhatTheCacheHoldsWithoutABus)
{
    EXPECT_EQ(judged([](const Snapshot& found) {
                  return found.cache && found.cache->health.at("/r") == 3 &&
                         found.space && found.space->usedBytes > 0 &&
                         !found.bus && !found.healthmgr && !found.log &&
                         !found.evictions && found.seconds > 0;
              }),
              0);
}

TEST_F(CollectorTest, FindsNothingWithoutACacheAndABus)
{
    folder.write("datacache", "no folder");
    EXPECT_EQ(judged([](const Snapshot& found) {
                  return !found.cache && !found.space && !found.bus &&
                         !found.healthmgr && !found.log && !found.evictions;
              }),
              0);
}

} // namespace
} // namespace healthintf::exporter
