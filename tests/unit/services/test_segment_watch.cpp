// SPDX-License-Identifier: Apache-2.0
#include "cache_test.hpp"
#include "segment_watch.hpp"

#include <platform/data_abstraction/health_status.hpp>

#include <functional>
#include <map>
#include <memory>
#include <system_error>

namespace healthintf::healthmgr
{
namespace
{

using test::Child;

class WatchedSegments : public test::CacheTest
{
  protected:
    /** A running process that owns a segment; on demand it runs @p then. */
    static std::unique_ptr<Child> reporter(const std::function<void()>& then)
    {
        auto child =
            std::make_unique<Child>([then](const Child::Parent& parent) {
                datacache_healthstatus_create("/a", {{"HealthStatus", 3u}});
                parent.tell("here");
                then();
                return 0;
            });
        EXPECT_EQ(child->hear(), "here");
        return child;
    }

    /** How often the watch has reported changes so far. */
    int countNotices()
    {
        // inotify reports changes at once, so there is nothing to wait for.
        while (sd_event_run(loop.get(), 0) > 0)
        {}
        return changes;
    }

    services::EventLoop loop;
    int changes = 0;
    SegmentWatch watch{loop, cacheFolder(), [this] {
                           ++changes;
                       }};
};

TEST_F(WatchedSegments, HaveTheirFolderCreated)
{
    EXPECT_TRUE(std::filesystem::is_directory(cacheFolder()));
}

TEST_F(WatchedSegments, AreReportedWhenTheirOwnerIsKilled)
{
    const auto owner = reporter([] {
        Child::Parent::waitForever();
    });
    EXPECT_EQ(countNotices(), 0);
    owner->kill();
    EXPECT_EQ(countNotices(), 1);
}

TEST_F(WatchedSegments, AreReportedWhenTheirOwnerExits)
{
    const auto owner = reporter([] {});
    EXPECT_EQ(owner->wait(), 0);
    EXPECT_EQ(countNotices(), 1);
}

TEST_F(WatchedSegments, AreReportedOnceForSeveralOwners)
{
    const auto wait = [] {
        Child::Parent::waitForever();
    };
    const auto one = reporter(wait);
    const auto other = reporter(wait);
    one->kill();
    other->kill();
    EXPECT_EQ(countNotices(), 1);
}

TEST_F(WatchedSegments, AreReportedWhenAHealthRecordIsRemoved)
{
    const auto owner = reporter([] {
        datacache_healthstatus_remove("/a");
        Child::Parent::waitForever();
    });
    constexpr uint64_t patience = 20'000'000;
    while (changes == 0 && sd_event_run(loop.get(), patience) > 0)
    {}
    EXPECT_EQ(changes, 1);
}

TEST_F(WatchedSegments, AreNotReportedForReaders)
{
    const auto owner = reporter([] {
        Child::Parent::waitForever();
    });
    EXPECT_EQ(test::inChild([] {
                  std::map<std::string, HealthStatus_gen> found;
                  DataAbstraction::HealthStatus::get_map_by_path_prefixes(
                      {}, {}, found);
                  return found.size() == 1 ? 0 : 1;
              }),
              0);
    EXPECT_EQ(countNotices(), 0);
}

TEST_F(WatchedSegments, AreLostWithTheirFolder)
{
    EXPECT_FALSE(watch.isLost());
    const auto aside = folder.path() / "aside";
    std::filesystem::rename(cacheFolder(), aside);
    EXPECT_EQ(countNotices(), 1);
    EXPECT_TRUE(watch.isLost());

    SegmentWatch another(loop, cacheFolder(), [this] {
        ++changes;
    });
    folder.write("datacache/segment", "");
    countNotices();
    changes = 0;
    std::filesystem::remove_all(cacheFolder());
    EXPECT_EQ(countNotices(), 1);
    EXPECT_TRUE(another.isLost());
}

TEST_F(WatchedSegments, AreRefusedWhereTheFolderIsAFile)
{
    const auto file = folder.write("file", "");
    EXPECT_THROW(SegmentWatch(loop, file, [] {}), std::system_error);
    EXPECT_THROW(SegmentWatch(loop, file / "below", [] {}), std::system_error);
}

} // namespace
} // namespace healthintf::healthmgr
