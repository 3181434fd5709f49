// SPDX-License-Identifier: Apache-2.0
/** @file The tree after records were removed from the data cache, or refused
 *  because the filesystem had no room or the process no descriptors. */

#include "address_sanitizer.hpp"
#include "cache_view.hpp"
#include "component.hpp"
#include "directories.hpp"
#include "managed_tree.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <filesystem>
#include <optional>
#include <system_error>

namespace healthintf::test
{
namespace
{

/** Starts a program that cannot write a file, as on a full filesystem. */
const std::vector<std::string> withoutRoom{"env", "--ignore-signal=XFSZ",
                                           "prlimit", "--fsize=0:unlimited"};

Component startWithoutRoom()
{
    std::vector<std::string> command = withoutRoom;
    command.insert(command.end(), {COMPONENT_DAEMON, "sd-event"});
    return Component(command);
}

void makeRoom(const Process& program)
{
    const rlimit enough{RLIM_INFINITY, RLIM_INFINITY};
    ASSERT_EQ(prlimit(program.pid(), RLIMIT_FSIZE, &enough, nullptr), 0);
}

/** Removes all files of the data cache, whose processes may make new ones at
 *  once, so that the folder stays. */
void removeRecords()
{
    std::error_code notEmpty;
    std::filesystem::remove_all(host::dataCacheFolder(), notEmpty);
}

using MissingRecords = ManagedTree;

TEST_F(MissingRecords, RestoresTheRemovedRecordsOfNodesThatHaveNotReportedYet)
{
    startManager();
    Component leaf(root + "/a/b", 2);
    leaf.add(root + "/a/b", "BAD", "/sensor", 1);
    client.waitForHealth(root, 4);
    manager->kill();
    startManager();
    client.waitForHealth(root, 4);
    // Each replies after all earlier messages: then the search for nodes at the
    // manager's start is over.
    for (const auto& owner :
         {std::string(service), leaf.name(), std::string(service)})
    {
        client.objects(owner);
    }
    removeRecords();
    client.waitUntil("records", [&] {
        client.catchUp();
        return recordedFaults().size() == 1 && recordedHealth(root) == 4;
    });
}

TEST_F(MissingRecords, RestoresTheRemovedRecordsOfAllProcesses)
{
    startManager();
    Component leaf(root + "/a/b", 2);
    leaf.add(root + "/a/b", "BAD", "/sensor", 1);
    client.waitForHealth(root, 4);
    removeRecords();
    client.waitUntil("records", [&] {
        client.catchUp();
        return recordedFaults().size() == 1 && recordedKeys().size() == 3 &&
               recordedHealth(root) == 4;
    });
    leaf.process.kill();
    client.waitUntil("withdrawal", [&] {
        client.catchUp();
        return recordedFaults().empty() && recordedHealth(root) == 0;
    });
}

TEST_F(MissingRecords, ShowsAFaultOnceTheDataCacheHasRoomForItsNode)
{
    startManager();
    const std::string key = root + "/a/b";
    Component daemon = startWithoutRoom();
    daemon.init(key, 2);
    daemon.add(key, "BAD", "/sensor", 1);
    EXPECT_THAT(recordedKeys(), testing::Not(testing::Contains(key)));
    makeRoom(daemon.process);
    client.waitForHealth(root, 4);
    EXPECT_EQ(recordedFaults().size(), 1U);
}

TEST_F(MissingRecords,
       ShowsAFaultWhoseRecordsWereRefusedBeforeTheManagerStarted)
{
    const std::string key = root + "/a/b";
    Component daemon = startWithoutRoom();
    daemon.init(key, 2);
    daemon.init(root, 2);
    daemon.add(key, "BAD", "/sensor", 1);
    daemon.add(root, "WARN", "/sensor", 2);
    makeRoom(daemon.process);
    ASSERT_THAT(recordedKeys(), testing::IsEmpty());
    launchManager();
    client.waitForHealth(root, 4);
    EXPECT_THAT(recordedKeys(),
                testing::ElementsAre(root, root + "/a", root + "/a/b"));
    EXPECT_EQ(recordedFaults().size(), 2U);
}

TEST_F(MissingRecords, ShowsANodeWhenItsRecordAndTheManagersWereRefused)
{
    startManager(withoutRoom);
    const std::string key = root + "/a/b";
    Component daemon = startWithoutRoom();
    daemon.init(key, 2);
    makeRoom(daemon.process);
    makeRoom(*manager);
    client.waitForHealth(root, 2);
    EXPECT_THAT(recordedKeys(), testing::Contains(key));
}

TEST_F(MissingRecords, ShowsANodeWhoseDaemonHadNoDescriptorsWhenItMadeIt)
{
    if (isAddressSanitized)
    {
        GTEST_SKIP() << "the sanitizer needs files to look at objects";
    }
    startManager();
    Component daemon;
    const std::string key = root + "/a/b";
    daemon.initWithoutDescriptors(key, 2);
    client.waitForHealth(root, 2);
    EXPECT_THAT(recordedKeys(), testing::Contains(key));
}

/** A daemon without room for records, with a fault at a node that healthmgr
 *  holds. */
class FaultOfAHostedNode : public MissingRecords
{
  protected:
    void SetUp() override
    {
        MissingRecords::SetUp();
        startManager();
        leaf.emplace(root + "/a/b", 2);
        client.waitForHealth(root, 2);
        daemon.emplace(startWithoutRoom());
        daemon->init(root + "/a", 3);
        daemon->add(root + "/a", "BAD", "/sensor", 1);
    }

    std::optional<Component> leaf;
    std::optional<Component> daemon;
};

TEST_F(FaultOfAHostedNode, IsShownOnceThereIsRoomForIt)
{
    makeRoom(daemon->process);
    client.waitForHealth(root, 4);
    EXPECT_EQ(recordedFaults().size(), 1U);
}

TEST_F(FaultOfAHostedNode, IsShownByAManagerThatStartsWhenThereIsRoom)
{
    manager->kill();
    makeRoom(daemon->process);
    startManager();
    client.waitForHealth(root, 4);
    EXPECT_EQ(recordedFaults().size(), 1U);
}

} // namespace
} // namespace healthintf::test
