// SPDX-License-Identifier: Apache-2.0
/** @file Cases of TreeKeeper that cannot be produced with processes; those are
 *  in test_tree_recovery.cpp. */

#include "address_sanitizer.hpp"
#include "bus_client.hpp"
#include "component.hpp"
#include "data_cache/withdrawal.hpp"
#include "directories.hpp"
#include "hidden_cache.hpp"
#include "listing_peer.hpp"
#include "service_on_bus.hpp"
#include "tree_keeper.hpp"

#include <platform/data_abstraction/health_status.hpp>

#include <gtest/gtest.h>
#include <sys/types.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <filesystem>
#include <set>
#include <string>
#include <thread>

namespace healthintf::healthmgr
{
namespace
{

const std::string root = "/com/vexa/olvar/health";

class KeptTree : public testing::Test
{
  protected:
    test::ServiceOnBus& service = test::ServiceOnBus::instance();
    HostedNodes nodes{service.connection.bus()};
    PeerUsers users{service.connection};
    TreeKeeper keeper{service.connection, service.loop, nodes, users};
};

/** Creates a tree keeper while a connection lists @p count nodes.
 *
 *  @return how many of them the keeper asks for their records */
std::size_t askedWhenListing(std::size_t count)
{
    test::ServiceOnBus& service = test::ServiceOnBus::instance();
    bool answered = false;
    test::BusClient client;
    test::ListingPeer peer([&](sd_bus_message* call) {
        answered = true;
        return test::ListingPeer::list(call, root, count);
    });
    HostedNodes nodes(service.connection.bus());
    PeerUsers users(service.connection);
    const TreeKeeper keeper(service.connection, service.loop, nodes, users);
    service.runUntil("answer", [&] {
        return answered;
    });
    peer.catchUp();
    service.catchUp();
    service.catchUp();
    client.catchUp();
    return static_cast<std::size_t>(
        std::ranges::count_if(client.updates, [](const std::string& update) {
            return update.starts_with(root + "/n");
        }));
}

TEST(ListedNodes, AreAskedForTheirRecordsUpToALimit)
{
    EXPECT_EQ(askedWhenListing(TreeKeeper::mostAsked), TreeKeeper::mostAsked);
    EXPECT_EQ(askedWhenListing(TreeKeeper::mostAsked + 1),
              TreeKeeper::mostAsked);
}

/** Removes a process's file from the data cache. */
void removeFileOf(pid_t pid)
{
    const std::string begin = std::to_string(pid) + "-";
    for (const auto& entry :
         std::filesystem::directory_iterator(host::dataCacheFolder()))
    {
        if (entry.path().filename().string().starts_with(begin))
        {
            std::filesystem::remove(entry.path());
        }
    }
}

TEST(UnreportedNode, IsAskedForItsRecordOnceThatIsGone)
{
    test::ServiceOnBus& service = test::ServiceOnBus::instance();
    HostedNodes nodes(service.connection.bus());
    ASSERT_EQ(nodes.host(root), HostedNodes::Outcome::there);
    const test::Component daemon(root + "/d", 2);
    service.runUntil("report, before the keeper could hear it", [] {
        return recordedHealth(root) == 2;
    });
    PeerUsers users(service.connection);
    const TreeKeeper keeper(service.connection, service.loop, nodes, users);
    // The keeper's first announcement of all records may tell of the first one,
    // and only a comparison of the second one.
    uint32_t health = 3;
    const std::set<std::string> silent{root + "/p", root + "/q"};
    for (const std::string& key : silent)
    {
        datacache_healthstatus_create(key, {{"HealthStatus", health}});
        service.runUntil("health of " + key, [health] {
            return recordedHealth(root) == health;
        });
        ++health;
    }
    removeFileOf(daemon.process.pid());
    ASSERT_FALSE(host::findHealthRecord(root + "/d").has_value());
    service.runUntil("record", [] {
        return host::findHealthRecord(root + "/d").has_value();
    });
    for (const std::string& key : silent)
    {
        datacache_healthstatus_remove(key);
    }
}

TEST(UnreportedNode, IsFoundByTheNextSearch)
{
    if (test::isAddressSanitized)
    {
        GTEST_SKIP() << "the sanitizer needs files to look at objects";
    }
    test::ServiceOnBus& service = test::ServiceOnBus::instance();
    HostedNodes nodes(service.connection.bus());
    PeerUsers users(service.connection);
    const TreeKeeper keeper(service.connection, service.loop, nodes, users,
                            std::chrono::seconds(1));
    test::Component daemon;
    // Nobody hears the daemon's request for the parent.
    daemon.initWithoutDescriptors(root + "/d", 2);
    ASSERT_FALSE(host::findHealthRecord(root + "/d").has_value());
    service.runUntil("record", [] {
        return host::findHealthRecord(root + "/d").has_value();
    });
}

TEST_F(KeptTree, GetsAParentThatEndedAfterItsChildHadFoundIt)
{
    const test::BusClient daemon;
    const std::string key = root + "/p/q";
    const auto tell = [&] {
        sd_bus_emit_signal(daemon.get(), key.c_str(),
                           "com.vexa.olvar.healthmgr.HealthStatus",
                           "HealthStatusUpdate", "ssu", (root + "/p").c_str(),
                           key.c_str(), 2u);
        daemon.call("org.freedesktop.DBus", "/org/freedesktop/DBus",
                    "org.freedesktop.DBus", "GetId", "");
        service.catchUp();
        service.catchUp();
    };
    tell();
    EXPECT_FALSE(nodes.hosts(root + "/p")) << "there is no such child";
    datacache_healthstatus_create(key, {{"HealthStatus", 2u}});
    tell();
    EXPECT_TRUE(nodes.hosts(root + "/p")) << "of a sender that is known";
    datacache_healthstatus_remove(key);
}

TEST_F(KeptTree, RecreatesANodeWhoseRecordIsGone)
{
    const test::BusClient daemon;
    ASSERT_EQ(nodes.host(root + "/p"), HostedNodes::Outcome::there);
    for (const std::string& key : {root + "/p", root})
    {
        datacache_healthstatus_remove(key);
        // A signal of any sender makes healthmgr check its nodes.
        const test::BusClient stranger;
        sd_bus_emit_signal(stranger.get(), "/x",
                           "com.vexa.olvar.healthmgr.HealthStatus",
                           "HealthStatusUpdate", "ssu", root.c_str(),
                           (root + "/q").c_str(), 0u);
        service.runUntil("record of " + key, [&key] {
            return host::findHealthRecord(key).has_value();
        });
        EXPECT_TRUE(nodes.hosts(key));
    }
    test::Component leaf(root + "/p/leaf", 3);
    service.runUntil("health", [] {
        return recordedHealth(root) == 3;
    });
    leaf.end();
    service.runUntil("end", [] {
        return recordedHealth(root) == 0;
    });
}

TEST(HostedNode, IsKnownToBeDeafWhenTheBusHangsWhileItIsMade)
{
    test::ServiceOnBus& service = test::ServiceOnBus::instance();
    bool deaf = false;
    HostedNodes nodes(service.connection.bus(), {}, [&deaf] {
        deaf = true;
    });
    ASSERT_EQ(nodes.host(root), HostedNodes::Outcome::there);
    uint64_t patience = 0;
    sd_bus_get_method_call_timeout(service.connection.get(), &patience);
    sd_bus_set_method_call_timeout(service.connection.get(), 100'000);
    std::string key;
    for (int i = 0; !deaf; ++i)
    {
        nodes.release(key);
        ASSERT_LT(i, 10'000) << "the bus was never stopped in time";
        key = root + "/deaf" + std::to_string(i);
        std::thread hang([&] {
            while (!host::findHealthRecord(key))
            {}
            service.bus.freeze();
        });
        nodes.host(key);
        hang.join();
        service.bus.thaw();
        // The bus may have been stopped too late: after the subscription, or
        // when the library could still remove the node.
        while (!deaf && nodes.host(key) != HostedNodes::Outcome::there)
        {}
    }
    sd_bus_set_method_call_timeout(service.connection.get(), patience);
    EXPECT_FALSE(nodes.hosts(key));
    datacache_healthstatus_remove(key);
}

TEST_F(KeptTree, KeepsANodeThatCannotBeRecreatedWhileTheBusHangs)
{
    const std::string key = root + "/p";
    ASSERT_EQ(nodes.host(key), HostedNodes::Outcome::there);
    service.bus.freeze();
    EXPECT_EQ(nodes.renew(key), HostedNodes::Outcome::failed);
    service.bus.thaw();
    EXPECT_TRUE(nodes.hosts(key));
    EXPECT_TRUE(host::findHealthRecord(key).has_value());
    while (nodes.renew(key) != HostedNodes::Outcome::there)
    {
        // After a pause.
        constexpr uint64_t step = 10'000;
        sd_event_run(service.loop.get(), step);
    }
}

/** Health records of other nodes, of which nobody tells anything. */
class SilentRecords : public KeptTree
{
  protected:
    SilentRecords()
    {
        put("/p/c", 4);
        EXPECT_EQ(nodes.host(root + "/p"), HostedNodes::Outcome::there);
    }

    ~SilentRecords() override
    {
        for (const std::string& key : keys)
        {
            datacache_healthstatus_remove(key);
        }
    }

    void put(const std::string& name, uint32_t health)
    {
        keys.insert(root + name);
        datacache_healthstatus_create(root + name, {{"HealthStatus", health}});
    }

    void waitFor(const std::string& name, uint32_t health)
    {
        const auto start = std::chrono::steady_clock::now();
        service.runUntil("health of " + name, [&] {
            return recordedHealth(root + name) == health &&
                   recordedHealth(root) == health;
        });
        EXPECT_LT(std::chrono::steady_clock::now() - start,
                  std::chrono::seconds(1));
    }

    /** Waits until the keeper has stopped comparing, a second after the last
     *  change. */
    void waitForRest()
    {
        const auto rested =
            std::chrono::steady_clock::now() + std::chrono::milliseconds(1300);
        while (std::chrono::steady_clock::now() < rested)
        {
            constexpr uint64_t step = 50'000;
            sd_event_run(service.loop.get(), step);
        }
    }

    /** Reports a health of /d/c, and waits until the daemon of /d has reported
     *  the same health itself. */
    void reportAsAnotherHolder(uint32_t health)
    {
        const std::string key = root + "/d/c";
        other.updates.clear();
        sd_bus_emit_signal(other.get(), key.c_str(),
                           "com.vexa.olvar.healthmgr.HealthStatus",
                           "HealthStatusUpdate", "ssu", (root + "/d").c_str(),
                           key.c_str(), health);
        const std::string heard =
            root + " " + root + "/d " + std::to_string(health);
        service.runUntil("report of the other holder", [&] {
            other.catchUp();
            return std::ranges::count(other.updates, heard) > 0;
        });
    }

    test::BusClient other;
    std::set<std::string> keys;
};

TEST_F(SilentRecords, CountNoLongerOnceTheyAreGone)
{
    waitFor("/p", 4);
    datacache_healthstatus_remove(root + "/p/c");
    waitFor("/p", 0);
}

TEST_F(SilentRecords, CountNoLongerInADaemonsNodeEither)
{
    put("/d/c", 4);
    test::Component daemon(root + "/d", 1);
    service.runUntil("health", [] {
        return recordedHealth(root + "/d") == 4;
    });
    waitForRest();
    datacache_healthstatus_remove(root + "/d/c");
    const auto start = std::chrono::steady_clock::now();
    service.runUntil("end", [] {
        return recordedHealth(root + "/d") == 1;
    });
    EXPECT_LT(std::chrono::steady_clock::now() - start,
              std::chrono::seconds(1));
}

TEST_F(SilentRecords, CountInADaemonsNodeThatIsBetter)
{
    put("/d/c", 2);
    test::Component daemon(root + "/d", 1);
    service.runUntil("health", [] {
        return recordedHealth(root + "/d") == 2;
    });
    waitForRest();
    datacache_healthstatus_set_property(root + "/d/c", "HealthStatus", 4u);
    // A signal of any sender makes healthmgr check its nodes.
    const test::BusClient stranger;
    sd_bus_emit_signal(
        stranger.get(), "/x", "com.vexa.olvar.healthmgr.HealthStatus",
        "HealthStatusUpdate", "ssu", root.c_str(), (root + "/q").c_str(), 0u);
    const auto start = std::chrono::steady_clock::now();
    service.runUntil("health of the child", [] {
        return recordedHealth(root + "/d") == 4;
    });
    EXPECT_LT(std::chrono::steady_clock::now() - start,
              std::chrono::seconds(1));
}

TEST_F(SilentRecords, CountInADaemonsNodeHoweverOftenAnotherHolderReports)
{
    put("/d/c", 4);
    test::Component daemon(root + "/d", 1);
    waitForRest();
    for (int i = 0; i < 4; ++i)
    {
        service.runUntil("health of the child", [] {
            return recordedHealth(root + "/d") == 4;
        });
        reportAsAnotherHolder(2u);
    }
}

TEST_F(SilentRecords, CountAlsoWhereAnotherHolderReportsWorse)
{
    put("/d/c", 2);
    test::Component daemon(root + "/d", 1);
    waitForRest();
    for (int i = 0; i < 2; ++i)
    {
        service.runUntil("health of the child", [] {
            return recordedHealth(root + "/d") == 2;
        });
        reportAsAnotherHolder(4u);
    }
    const auto start = std::chrono::steady_clock::now();
    service.runUntil("health of the child", [] {
        return recordedHealth(root + "/d") == 2;
    });
    EXPECT_LT(std::chrono::steady_clock::now() - start,
              std::chrono::seconds(1));
}

TEST_F(SilentRecords, CountNoLongerHoweverLateTheyGo)
{
    waitFor("/p", 4);
    waitForRest();
    datacache_healthstatus_remove(root + "/p/c");
    waitFor("/p", 0);
}

TEST_F(SilentRecords, CountWithTheirPresentHealth)
{
    datacache_healthstatus_set_property(root + "/p/c", "HealthStatus", 2u);
    waitFor("/p", 2);
}

TEST_F(SilentRecords, CountOnlyForTheirOwnParent)
{
    put("/p1", 3);
    datacache_healthstatus_remove(root + "/p/c");
    nodes.release(root + "/p");
    EXPECT_EQ(nodes.host(root + "/p"), HostedNodes::Outcome::there);
    EXPECT_EQ(recordedHealth(root + "/p"), 3U) << "/p1 is no child of /p";
    service.runUntil("end of the mistake", [] {
        return recordedHealth(root + "/p") == 0;
    });
    EXPECT_EQ(recordedHealth(root), 3U);
}

TEST_F(KeptTree, GetsTheNodeOnceTheBusHasRoomForItsRules)
{
    // The refused rule may be any of a node's three.
    for (int more = 0; more < 3; ++more)
    {
        sd_bus_add_match(service.connection.get(), nullptr, "type='error'",
                         nullptr, nullptr);
        const auto key = [more](int number) {
            return root + "/n" + std::to_string(1000 * (more + 1) + number);
        };
        int made = 0;
        while (nodes.host(key(made)) == HostedNodes::Outcome::there)
        {
            ASSERT_LT(++made, 512) << "a node needs more than one match rule";
        }
        EXPECT_FALSE(host::findHealthRecord(key(made)));
        nodes.release(key(0));
        service.runUntil("room", [&] {
            service.catchUp();
            return nodes.host(key(made)) == HostedNodes::Outcome::there;
        });
        EXPECT_TRUE(host::findHealthRecord(key(made)));
        for (int i = 1; i <= made; ++i)
        {
            nodes.release(key(i));
        }
    }
}

TEST_F(KeptTree, LeavesANodeAloneWhoseRecordCannotBeRead)
{
    const test::HiddenCache hidden;
    EXPECT_EQ(nodes.host(root), HostedNodes::Outcome::failed);
    EXPECT_TRUE(nodes.hosts(root));
}

TEST_F(KeptTree, BelievesReportsWhileTheDataCacheCannotBeRead)
{
    test::BusClient client;
    const auto waitForRoot = [&](uint32_t health) {
        const std::string wanted =
            "/com/vexa/olvar " + root + " " + std::to_string(health);
        service.runUntil(wanted, [&] {
            client.catchUp();
            return std::ranges::find(client.updates, wanted) !=
                   client.updates.end();
        });
    };
    test::Component leaf(root + "/leaf", 0);
    service.runUntil("leaf", [] {
        return recordedHealth(root + "/leaf") == 0;
    });
    {
        const test::HiddenCache hidden;
        // The folder's listing has changed and must be read again, which fails.
        hidden.stir();
        leaf.add(root + "/leaf", "HOT", "/sensors/leaf", 1);
        waitForRoot(4);
    }
    leaf.remove(root + "/leaf", "HOT", "/sensors/leaf");
    service.runUntil("health", [] {
        return recordedHealth(root) == 0;
    });
}

TEST_F(KeptTree, RetriesAndLogsRarelyWhileNothingCanBeWithdrawn)
{
    constexpr int wakes = 500;
    testing::internal::CaptureStderr();
    {
        const test::HiddenCache hidden;
        for (int i = 0; i < wakes; ++i)
        {
            hidden.stir();
            {
                test::BusClient client;
                client.findOwner("org.freedesktop.DBus");
            }
            service.catchUp();
        }
    }
    service.runUntil("record", [] {
        return host::findHealthRecord(root).has_value();
    });
    const std::string log = testing::internal::GetCapturedStderr();
    EXPECT_LT(std::ranges::count(log, '\n'), 20) << log;
    EXPECT_EQ(log.find("File exists"), std::string::npos) << log;
}

TEST_F(KeptTree, WithdrawsDeadDaemonsWhenTheDataCacheIsReadableAgain)
{
    test::Component leaf(root + "/leaf", 4);
    service.runUntil("leaf", [] {
        return recordedHealth(root) == 4;
    });
    {
        const test::HiddenCache hidden;
        leaf.process.kill();
        // healthmgr also sees that the connection ended.
        test::BusClient client;
        service.runUntil("end", [&] {
            return client.findOwner(leaf.name()).empty();
        });
        service.catchUp();
        EXPECT_TRUE(keeper.isProgressing()) << "for half a minute";
    }
    service.runUntil("withdrawal", [] {
        return recordedHealth(root) == 0;
    });
    EXPECT_FALSE(host::findHealthRecord(root + "/leaf"));
    service.catchUp();
    service.catchUp();
}

/** The number of segments in the data cache. */
std::ptrdiff_t countSegments()
{
    return std::ranges::count_if(
        std::filesystem::directory_iterator(host::dataCacheFolder()),
        [](const auto& file) {
            return file.is_regular_file();
        });
}

TEST(NodesOfADeadProcess, AreRemovedOnceTheBusHasTheirAnnouncement)
{
    test::ServiceOnBus& service = test::ServiceOnBus::instance();
    HostedNodes nodes(service.connection.bus());
    PeerUsers users(service.connection);
    std::ptrdiff_t before = 0;
    {
        TreeKeeper earlier(service.connection, service.loop, nodes, users);
        before = countSegments();
        test::Component leaf(root + "/leaf", 4);
        leaf.process.kill();
        EXPECT_EQ(countSegments(), before + 1);
    }
    const TreeKeeper keeper(service.connection, service.loop, nodes, users);
    EXPECT_EQ(countSegments(), before + 1)
        << "for the next healthmgr, if this one ends now";
    service.runUntil("removal", [&] {
        return countSegments() == before;
    });
    service.catchUp();
}

} // namespace
} // namespace healthintf::healthmgr
