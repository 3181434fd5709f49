/** @file What a tree keeper does that processes cannot show: those are in
 *  test_tree_recovery.cpp. */

#include "../inject/next_definition.hpp"
#include "bus_client.hpp"
#include "component.hpp"
#include "data_cache/withdrawal.hpp"
#include "service_on_bus.hpp"
#include "tree_keeper.hpp"

#include <platform/data_abstraction/health_status.hpp>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <string>
#include <vector>

namespace
{

bool isRefusing = false;
int attempts = 0;

} // namespace

namespace healthintf::host
{

// Stands in front of the platform's.
int withdrawRecords(const ProcessIdentity& owner,
                    std::vector<std::string>& keys)
{
    ++attempts;
    if (isRefusing)
    {
        keys.clear();
        return ENOSPC;
    }
    return test::nextDefinition(withdrawRecords)(owner, keys);
}

} // namespace healthintf::host

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

TEST_F(KeptTree, GetsAParentThatWentAfterItsChildHadLookedForIt)
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

TEST_F(KeptTree, HasItsDeadWithdrawnAfterPausesThatGrow)
{
    test::Component leaf(root + "/leaf", 4);
    service.runUntil("leaf", [] {
        return recordedHealth(root) == 4;
    });
    isRefusing = true;
    testing::internal::CaptureStderr();
    const auto start = std::chrono::steady_clock::now();
    leaf.process.kill();
    constexpr int enough = 5;
    service.runUntil("attempts", [] {
        return attempts >= enough;
    });
    // 10, 20 and 40 ms at least: the end of the process and that of its
    // connection may both have come before the first pause.
    EXPECT_GE(std::chrono::steady_clock::now() - start,
              std::chrono::milliseconds(70));
    const std::string log = testing::internal::GetCapturedStderr();
    EXPECT_EQ(std::ranges::count(log, '\n'), enough) << log;
    EXPECT_THAT(log, testing::HasSubstr("unable to withdraw what process"));
    EXPECT_TRUE(keeper.isProgressing()) << "for half a minute";

    isRefusing = false;
    service.runUntil("withdrawal", [] {
        return recordedHealth(root) == 0;
    });
    EXPECT_FALSE(host::findHealthRecord(root + "/leaf"));
    service.catchUp();
    service.catchUp();
}

} // namespace
} // namespace healthintf::healthmgr
