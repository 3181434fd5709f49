// SPDX-License-Identifier: Apache-2.0
/** @file Hiding and showing faults in several processes on a real bus: the
 *  health tree, the properties and the counts after each step. */

#include "bus_client.hpp"
#include "cache_view.hpp"
#include "component.hpp"
#include "private_bus.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <set>
#include <string>

namespace healthintf::test
{
namespace
{

const std::string root = "/com/vexa/olvar/health";
const std::string fans = root + "/fans";
const std::string disks = root + "/disks";

const std::string hideErrors = "system.embedded.1#lcd.1#hideerrs";
const std::string oemFlags = "system.embedded.1#lcd.1#oemLCDFlags";

/** Three daemons hold the root and two components, each with two faults: a
 *  critical one of a common sensor, and a warning. A fourth holds nothing and
 *  sends the requests. */
class Visibility : public testing::Test
{
  protected:
    Visibility()
    {
        bus.activate("com.vexa.olvar.healthmgr", HEALTHMGR);
        fanDaemon.add(fans, "FAN_BAD", "/s1", 1, 1);
        fanDaemon.add(fans, "FAN_SLOW", "/s2", 2, 2);
        diskDaemon.add(disks, "DISK_BAD", "/s1", 1, 1);
        diskDaemon.add(disks, "DISK_SLOW", "/s3", 2, 3);
        expectShown({}, 4, 4);
    }

    void hide(bool hide, const std::string& healthPath,
              const std::string& sensorPath, int number)
    {
        sender.expect(std::string("hide ") + (hide ? "1 " : "0 ") + healthPath +
                          " " + sensorPath + " " + std::to_string(number),
                      "0");
    }

    void set(const std::string& attribute, int value)
    {
        sender.expect("set " + attribute + " " + std::to_string(value), "0");
    }

    /** Expects that exactly these faults are hidden, on the bus and in the data
     *  cache. */
    void expectShown(const std::set<std::string>& hidden, uint32_t fanHealth,
                     uint32_t diskHealth)
    {
        // The bus has delivered the requests, and a daemon replies after it has
        // processed them.
        EXPECT_EQ(client.health(fanDaemon.name(), fans), fanHealth);
        EXPECT_EQ(client.health(diskDaemon.name(), disks), diskHealth);
        client.waitForHealth(root, std::max(fanHealth, diskHealth));
        EXPECT_EQ(client.health(rootDaemon.name(), root),
                  std::max(fanHealth, diskHealth));
        std::set<std::string> recorded;
        std::set<std::string> onTheBus;
        for (const RecordedFault& fault : recordedFaults())
        {
            if (fault.hidden)
            {
                recorded.insert(fault.messageID);
            }
            if (hiddenOnTheBus(fault.path))
            {
                onTheBus.insert(fault.messageID);
            }
        }
        EXPECT_EQ(recorded, hidden);
        EXPECT_EQ(onTheBus, hidden);
        EXPECT_EQ(sender.process.ask("count"),
                  std::to_string(4 - hidden.size()) + " " +
                      std::to_string(hidden.size()));
    }

    bool hiddenOnTheBus(const std::string& path)
    {
        const Component& holder =
            path.starts_with(fans) ? fanDaemon : diskDaemon;
        const MessagePtr reply =
            client.call(holder.name().c_str(), path.c_str(),
                        "org.freedesktop.DBus.Properties", "Get", "ss",
                        "com.vexa.olvar.healthmgr.FaultEntry", "Hidden");
        int value = -1;
        sd_bus_message_read(reply.get(), "v", "b", &value);
        EXPECT_NE(value, -1);
        return value == 1;
    }

    const std::set<std::string> all{"FAN_BAD", "FAN_SLOW", "DISK_BAD",
                                    "DISK_SLOW"};

    PrivateBus bus;
    /** Makes the daemons log each step. */
    const int verbose = setenv("HEALTHINTF_LOG_LEVEL", "7", 1);
    BusClient client;
    Component rootDaemon{root, 2};
    Component fanDaemon{fans, 2, "sd-event"};
    Component diskDaemon{disks, 2, "own-loop"};
    Component sender;
};

TEST_F(Visibility, FollowsASensorPathInEveryProcess)
{
    hide(true, "-", "/s1", 0);
    expectShown({"FAN_BAD", "DISK_BAD"}, 3, 3);
    hide(false, "-", "/s1", 0);
    expectShown({}, 4, 4);
}

TEST_F(Visibility, IsLoggedByTheSender)
{
    hide(true, "-", "/s1", 0);
    sender.end();
    EXPECT_THAT(sender.process.errors(),
                testing::HasSubstr(
                    "SendHideFaultsSignal: HideFaultForSensor signal sent"));
}

TEST_F(Visibility, FollowsASensorNumberInEveryProcess)
{
    hide(true, "-", "-", 1);
    expectShown({"FAN_BAD", "DISK_BAD"}, 3, 3);
    hide(true, "-", "-", 3);
    expectShown({"FAN_BAD", "DISK_BAD", "DISK_SLOW"}, 3, 2);
    hide(false, "-", "-", 1);
    expectShown({"DISK_SLOW"}, 4, 4);
    hide(false, "-", "-", 3);
    expectShown({}, 4, 4);
}

TEST_F(Visibility, FollowsAComponentKeyInItsProcessOnly)
{
    hide(true, fans, "-", 0);
    expectShown({"FAN_BAD", "FAN_SLOW"}, 2, 4);
    hide(true, disks, "-", 0);
    expectShown(all, 2, 2);
    hide(false, fans, "-", 0);
    expectShown({"DISK_BAD", "DISK_SLOW"}, 4, 2);
    hide(false, disks, "-", 0);
    expectShown({}, 4, 4);
}

TEST_F(Visibility, FollowsTheSensorOfASignalForAnotherComponent)
{
    hide(true, root + "/elsewhere", "/s3", 0);
    expectShown({"DISK_SLOW"}, 4, 4);
    hide(true, fans, "/s1", 0);
    expectShown({"FAN_BAD", "FAN_SLOW", "DISK_BAD", "DISK_SLOW"}, 2, 2);
    hide(false, fans, "-", 0);
    expectShown({"DISK_BAD", "DISK_SLOW"}, 4, 2);
}

TEST_F(Visibility, ShowsMoreThanTheSensorThatIsNamed)
{
    hide(true, "-", "/s2", 0);
    hide(true, "-", "-", 3);
    expectShown({"FAN_SLOW", "DISK_SLOW"}, 4, 4);
    fanDaemon.expect("disable " + fans, "2");
    expectShown({"FAN_BAD", "FAN_SLOW", "DISK_SLOW"}, 2, 4);
    hide(false, "-", "/s2", 0);
    expectShown({"FAN_BAD", "FAN_SLOW", "DISK_SLOW"}, 2, 4);
    fanDaemon.expect("enable " + fans, "4");
    expectShown({"DISK_SLOW"}, 4, 4);
}

TEST_F(Visibility, ObeysTheNextValidSignalAfterMalformedOnes)
{
    const auto send = [this](const char* types, auto... args) {
        ASSERT_GE(sd_bus_emit_signal(client.get(), root.c_str(),
                                     "com.vexa.olvar.healthmgr",
                                     "HideFaultForSensor", types, args...),
                  0);
    };
    send("");
    send("s", "true");
    send("b", 1);
    send("bs", 1, fans.c_str());
    send("bss", 1, "", "/s1");
    send("ussi", 1u, "", "/s1", 1);
    send("busi", 1, 1u, "/s1", 1);
    send("bsui", 1, "", 1u, 1);
    send("bssu", 1, "", "/s1", 1u);
    send("(bssi)", 1, "", "/s1", 1);
    client.catchUp();
    expectShown({}, 4, 4);
    send("bssis", 1, "", "/s1", 0, "more than it needs");
    client.catchUp();
    expectShown({"FAN_BAD", "DISK_BAD"}, 3, 3);
    hide(true, "-", "/s2", 0);
    expectShown({"FAN_BAD", "FAN_SLOW", "DISK_BAD"}, 2, 3);
}

TEST_F(Visibility, ReturnsWhenTheLcdIsResetBeforeTheComponentIsEnabled)
{
    set(hideErrors, 0);
    expectShown(all, 2, 2);
    fanDaemon.expect("disable " + fans, "2");
    expectShown(all, 2, 2);
    set(hideErrors, 1);
    expectShown({"FAN_BAD", "FAN_SLOW"}, 2, 4);
    fanDaemon.expect("enable " + fans, "4");
    expectShown({}, 4, 4);
}

TEST_F(Visibility, ReturnsWhenTheComponentIsEnabledBeforeTheLcdIsReset)
{
    set(hideErrors, 0);
    expectShown(all, 2, 2);
    fanDaemon.expect("disable " + fans, "2");
    expectShown(all, 2, 2);
    fanDaemon.expect("enable " + fans, "2");
    expectShown(all, 2, 2);
    set(hideErrors, 1);
    expectShown({}, 4, 4);
}

TEST_F(Visibility, IgnoresTheNotificationOfAnOwnChange)
{
    set(hideErrors, 0);
    set(oemFlags, 1);
    expectShown(all, 2, 2);
    set(oemFlags, 0);
    // The daemons reset hideerrs before they show their faults.
    client.waitForHealth(fans, 4);
    client.waitForHealth(disks, 4);
    expectShown({}, 4, 4);
    fanDaemon.end();
    diskDaemon.end();
    const std::string echo =
        "We have updated the attribute, skip any operation";
    EXPECT_THAT(fanDaemon.process.errors(), testing::HasSubstr(echo));
    EXPECT_THAT(diskDaemon.process.errors(), testing::HasSubstr(echo));
}

TEST_F(Visibility, HidesNothingOfADaemonThatStartsAfterTheAttributeWasSet)
{
    set(hideErrors, 0);
    Component late(root + "/late", 2);
    late.add(root + "/late", "LATE", "/s9", 1, 9);
    client.waitForHealth(root, 4);
    EXPECT_EQ(sender.process.ask("count"), "1 4");
    late.end();
    set(hideErrors, 1);
    expectShown({}, 4, 4);
}

} // namespace
} // namespace healthintf::test
