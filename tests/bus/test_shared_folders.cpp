// SPDX-License-Identifier: Apache-2.0
/** @file Daemons of several users share the folders of the project's tmpfiles.d
 *  file. */

#include "bus_client.hpp"
#include "component.hpp"
#include "installed_policy.hpp"
#include "log_client.hpp"
#include "private_bus.hpp"
#include "process.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <unistd.h>

#include <string>
#include <vector>

namespace healthintf::test
{
namespace
{

using testing::HasSubstr;
using testing::ThrowsMessage;
using Words = std::vector<std::string>;

const std::string root = "/com/vexa/olvar/health";
const std::string branch = root + "/branch";
const std::string leafKey = branch + "/leaf";

/** Folders of the test stand for those of the machine. */
class SharedFolders : public testing::Test
{
  protected:
    void SetUp() override
    {
        openToOthers(bus, Caller::stranger, COMPONENT_DAEMON);
    }

    std::string at(const std::string& name) const
    {
        return bus.folder().path() / name;
    }

    /** Whether a command that accesses files succeeds for a user. */
    static bool may(const Words& command)
    {
        Process attempt(command);
        const bool done = attempt.wait() == 0;
        if (!done)
        {
            EXPECT_THAT(attempt.errors(),
                        testing::AnyOf(HasSubstr("Permission denied"),
                                       HasSubstr("Operation not permitted")));
        }
        return done;
    }

    /** Expects that two daemons of different users form one tree. */
    static void expectOneTree(const Words& first, const Words& second)
    {
        BusClient client;
        Component leaf(first);
        leaf.init(leafKey, 2);
        leaf.add(leafKey, "fault", "/sensor", 1);
        // It reads its child's record in the data cache.
        Component parent(second);
        parent.init(branch, 2);
        client.waitForHealth(branch, 4);
        for (const Caller caller :
             {Caller::stranger, Caller::reporter, Caller::healthmgr})
        {
            EXPECT_THAT(readOutput(as(caller, {CACHE_DUMP})),
                        testing::AllOf(HasSubstr("\"" + leafKey + "\":4"),
                                       HasSubstr("\"" + branch + "\":4")));
        }
        EXPECT_THAT(leaf.process.errors() + parent.process.errors(),
                    testing::Not(HasSubstr("Permission denied")));
    }

    PrivateBus bus{systemRules + installedRules("com.vexa.olvar.healthmgr") +
                   installedRules(logService)};
};

const Words daemonOfRoot{COMPONENT_DAEMON, "sd-event"};

TEST_F(SharedFolders, GiveRootAndTheServicesOneTree)
{
    expectOneTree(daemonOfRoot, as(Caller::healthmgr, daemonOfRoot));
}

TEST_F(SharedFolders, GiveTheServicesAndRootOneTree)
{
    expectOneTree(as(Caller::healthmgr, daemonOfRoot), daemonOfRoot);
}

TEST_F(SharedFolders, GiveAReporterAndTheServicesOneTree)
{
    expectOneTree(as(Caller::reporter, daemonOfRoot),
                  as(Caller::healthmgr, daemonOfRoot));
}

TEST_F(SharedFolders, LetOnlyTheServicesWriteOutsideTheDataCache)
{
    for (const Caller caller : {Caller::stranger, Caller::reporter,
                                Caller::operatorUser, Caller::logmgr})
    {
        for (const char* folder : {"run", "state", "state/config"})
        {
            EXPECT_FALSE(
                may(as(caller, {"touch", at(std::string(folder) + "/file")})))
                << folder;
        }
    }
    EXPECT_FALSE(may(as(Caller::healthmgr, {"touch", at("run/file")})));
    EXPECT_FALSE(may(as(Caller::healthmgr, {"touch", at("run/sel/file")})));
    EXPECT_FALSE(may(as(Caller::reporter, {"touch", at("run/sel/file")})));
    EXPECT_TRUE(may(as(Caller::logmgr, {"touch", at("run/sel/file")})));
    EXPECT_TRUE(may(as(Caller::healthmgr, {"touch", at("state/config/file")})));
}

TEST_F(SharedFolders, LetOnlyReportersCreateFilesInTheDataCache)
{
    const std::string file = at("run/datacache/file");
    for (const Caller caller :
         {Caller::stranger, Caller::operatorUser, Caller::logmgr})
    {
        EXPECT_FALSE(may(as(caller, {"touch", file})));
    }
    EXPECT_TRUE(may(as(Caller::reporter, {"touch", file})));
}

TEST_F(SharedFolders, LetOnlyTheOwnerAndTheHealthManagerChangeAReportersFile)
{
    const std::string file = at("run/datacache/file");
    const Words byAnotherReporter{"setpriv", "--reuid=" + logmgrUser,
                                  "--regid=" + reportersGroup,
                                  "--clear-groups"};
    for (const Words& attempt :
         {Words{"rm", "--force", file}, {"mv", "--force", file, file + ".new"}})
    {
        ASSERT_TRUE(may(as(Caller::reporter, {"touch", file})));
        Words whole = byAnotherReporter;
        whole.insert(whole.end(), attempt.begin(), attempt.end());
        EXPECT_FALSE(may(whole));
        EXPECT_TRUE(may(as(Caller::healthmgr, attempt)));
    }
}

TEST_F(SharedFolders, LetOnlyItsServiceAccessTheLog)
{
    LogClient client;
    Process logmgr(as(Caller::logmgr, {LOGMGR}));
    client.waitUntilReady();
    EXPECT_EQ(client.add(makeRecord(7)), 1U);
    for (const Caller caller : {Caller::stranger, Caller::reporter,
                                Caller::operatorUser, Caller::healthmgr})
    {
        EXPECT_THAT(
            [&] {
                readOutput(as(caller, {"cat", at("state/sel/data.mdb")}));
            },
            ThrowsMessage<std::runtime_error>(HasSubstr("Permission denied")));
    }
}

TEST_F(SharedFolders, LetEverybodyReadTheMirrorOfTheLog)
{
    LogClient client;
    Process logmgr(as(Caller::logmgr, {LOGMGR}));
    client.waitUntilReady();
    EXPECT_EQ(client.add(makeRecord(7)), 1U);
    EXPECT_THAT(readOutput(as(Caller::stranger, {CACHE_DUMP})),
                HasSubstr("selentry/00001"));
}

} // namespace
} // namespace healthintf::test
