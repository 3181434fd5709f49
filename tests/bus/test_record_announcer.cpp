// SPDX-License-Identifier: Apache-2.0
#include "bus_client.hpp"
#include "hidden_cache.hpp"
#include "record_announcer.hpp"
#include "service_on_bus.hpp"

#include <platform/data_abstraction/health_status.hpp>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

namespace healthintf::healthmgr
{
namespace
{

using test::ServiceOnBus;
using testing::ElementsAre;
using testing::IsEmpty;

const std::string root = "/com/vexa/olvar/health";

class AnnouncedRecords : public testing::Test
{
  protected:
    void TearDown() override
    {
        // The announcer must end without outstanding replies: the connection
        // outlives it.
        announcer.announce({"/last"});
        waitFor(update("/last", 0));
        service.catchUp();
        for (const std::string& key : made)
        {
            datacache_healthstatus_remove(key);
        }
    }

    /** Writes a record as a node does, but sends nothing on the bus. */
    void record(const std::string& key, uint32_t health)
    {
        datacache_healthstatus_create(key, {{"HealthStatus", health}});
        made.push_back(key);
    }

    static std::string update(const std::string& key, uint32_t health)
    {
        return key.substr(0, key.rfind('/')) + " " + key + " " +
               std::to_string(health);
    }

    void waitFor(const std::string& wanted)
    {
        service.runUntil(wanted, [&] {
            client.catchUp();
            return std::ranges::find(client.updates, wanted) !=
                   client.updates.end();
        });
    }

    ServiceOnBus& service = ServiceOnBus::instance();
    test::BusClient client;
    RecordAnnouncer announcer{service.connection, service.loop};
    std::vector<std::string> made;
};

TEST_F(AnnouncedRecords, HaveTheHealthInTheDataCache)
{
    record(root + "/a", 3);
    announcer.announce({root + "/a", root + "/gone"});
    service.catchUp();
    client.catchUp();
    EXPECT_THAT(client.updates,
                ElementsAre(update(root + "/a", 3), update(root + "/gone", 0)));
}

TEST_F(AnnouncedRecords, AreSentAgainWhenTheyChangeMeanwhile)
{
    record(root + "/a", 3);
    announcer.announce({root + "/a"});
    datacache_healthstatus_set_property(root + "/a", "HealthStatus", 4u);
    waitFor(update(root + "/a", 4));
    service.catchUp();
    client.catchUp();
    EXPECT_THAT(client.updates,
                ElementsAre(update(root + "/a", 3), update(root + "/a", 4)));
}

TEST_F(AnnouncedRecords, AreSentAgainAfterPausesWhileTheyKeepChanging)
{
    record(root + "/a", 1);
    announcer.announce({root + "/a"});
    const auto start = std::chrono::steady_clock::now();
    uint32_t health = 1;
    service.runUntil("four more updates", [&] {
        // Changes the record between any two steps of the announcer.
        datacache_healthstatus_set_property(root + "/a", "HealthStatus",
                                            ++health);
        client.catchUp();
        return client.updates.size() >= 5;
    });
    // The pauses: 10, 20, 40 and 80 ms.
    EXPECT_GE(std::chrono::steady_clock::now() - start,
              std::chrono::milliseconds(150));
}

TEST_F(AnnouncedRecords, AreSentWhenTheDataCacheIsReadableAgain)
{
    record(root + "/a", 3);
    {
        const test::HiddenCache hidden;
        announcer.announce({root + "/a"});
        service.catchUp();
        client.catchUp();
        EXPECT_THAT(client.updates, IsEmpty());
    }
    waitFor(update(root + "/a", 3));
    service.catchUp();
    client.catchUp();
    EXPECT_THAT(client.updates, ElementsAre(update(root + "/a", 3)));
}

TEST_F(AnnouncedRecords, AreAllSentWhenTheDataCacheIsReadableAgain)
{
    record(root + "/real", 3);
    {
        const test::HiddenCache hidden;
        for (std::size_t i = 0; i <= RecordAnnouncer::most; ++i)
        {
            announcer.announceIfRoom("/n" + std::to_string(i));
        }
        service.catchUp();
        client.catchUp();
        EXPECT_THAT(client.updates, IsEmpty());
    }
    waitFor(update(root + "/real", 3));
}

TEST_F(AnnouncedRecords, DoNotDelayOtherRecords)
{
    record(root + "/a", 1);
    announcer.announce({root + "/a"});
    datacache_healthstatus_set_property(root + "/a", "HealthStatus", 2u);
    service.catchUp();
    // The pause for the first record has begun.
    announcer.announce({root + "/b"});
    service.catchUp();
    client.catchUp();
    EXPECT_THAT(client.updates,
                ElementsAre(update(root + "/a", 1), update(root + "/b", 0)));
}

TEST_F(AnnouncedRecords, AreNotSentForAnInvalidPath)
{
    announcer.announce({"no path", "/x/"});
    service.catchUp();
    client.catchUp();
    EXPECT_THAT(client.updates, IsEmpty());
}

TEST_F(AnnouncedRecords, AreAllSentLaterWhenTooManyWereMadeUp)
{
    record(root + "/real", 3);
    const auto fill = [this] {
        for (std::size_t i = 0; i < RecordAnnouncer::most; ++i)
        {
            announcer.announceIfRoom("/n" + std::to_string(i));
        }
    };
    fill();
    service.runUntil("update of each", [&] {
        client.catchUp();
        return client.updates.size() == RecordAnnouncer::most;
    });
    service.catchUp();
    client.catchUp();
    EXPECT_THAT(client.updates,
                testing::Not(testing::Contains(update(root + "/real", 3))));

    fill();
    announcer.announceIfRoom("/over");
    waitFor(update(root + "/real", 3));
    EXPECT_THAT(client.updates, testing::Contains(update("/over", 0)));
}

TEST_F(AnnouncedRecords, EndAnInvalidChildOfAParent)
{
    announcer.disown((root + "/a").c_str(), "no path");
    service.catchUp();
    client.catchUp();
    EXPECT_THAT(client.updates, ElementsAre(root + "/a no path 0"));
}

} // namespace
} // namespace healthintf::healthmgr
