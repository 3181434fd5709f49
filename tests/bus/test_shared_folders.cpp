/** @file Daemons of several users share the folders that the project's
 *  tmpfiles.d file describes. */

#include "bus_client.hpp"
#include "component.hpp"
#include "file_content.hpp"
#include "installed_policy.hpp"
#include "log_client.hpp"
#include "private_bus.hpp"
#include "process.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <unistd.h>

#include <cerrno>
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

/** Folders of the test in the place of those of the machine. */
class SharedFolders : public testing::Test
{
  protected:
    void SetUp() override
    {
        if (geteuid() != 0)
        {
            GTEST_SKIP() << "needs root, to become another user";
        }
        Process reach(as(Caller::stranger, {"test", "-x", COMPONENT_DAEMON}));
        if (reach.wait() != 0)
        {
            GTEST_SKIP() << "needs a build folder that other users may enter";
        }
        letOthersIn(bus);
        std::string text = contentOf(TMPFILES);
        replaceAll(text, "/run/healthintf", at("run"));
        replaceAll(text, "/var/lib/healthintf", at("state"));
        replaceAll(text, "healthintf healthintf",
                   servicesUser + " " + reportersGroup);
        outputOf({"systemd-tmpfiles", "--create",
                  bus.folder().write("folders.conf", text)});
    }

    ~SharedFolders() override
    {
        umask(before);
    }

    std::string at(const std::string& name) const
    {
        return bus.folder().path() / name;
    }

    /** Sets an attribute.
     *
     *  @param[in] command starts a notification-client
     *  @return its result */
    static std::string setBy(const Words& command, const std::string& value)
    {
        return Process(command).ask("set color " + value);
    }

    /** Expects that two daemons of different users make one tree. */
    static void expectOneTree(const Words& first, const Words& second)
    {
        BusClient client;
        Component leaf(first);
        leaf.init(leafKey, 2);
        leaf.add(leafKey, "fault", "/sensor", 1);
        // It finds its child in the data cache.
        Component parent(second);
        parent.init(branch, 2);
        client.waitForHealth(branch, 4);
        for (const Caller caller : {Caller::member, Caller::service})
        {
            EXPECT_THAT(outputOf(as(caller, {CACHE_DUMP})),
                        testing::AllOf(HasSubstr("\"" + leafKey + "\":4"),
                                       HasSubstr("\"" + branch + "\":4")));
        }
        EXPECT_THAT(leaf.process.errors() + parent.process.errors(),
                    testing::Not(HasSubstr("Permission denied")));
    }

    // By itself it would keep the group from writing.
    const mode_t before = umask(022);
    PrivateBus bus{systemRules + installedRules("com.vexa.olvar.healthmgr") +
                   installedRules(logService)};
};

const Words daemonOfRoot{COMPONENT_DAEMON, "sd-event"};
const Words clientOfRoot{NOTIFICATION_CLIENT, "sd-event"};

TEST_F(SharedFolders, GiveRootAndTheServicesOneTree)
{
    expectOneTree(daemonOfRoot, as(Caller::service, daemonOfRoot));
}

TEST_F(SharedFolders, GiveTheServicesAndRootOneTree)
{
    expectOneTree(as(Caller::service, daemonOfRoot), daemonOfRoot);
}

TEST_F(SharedFolders, GiveAMemberOfTheGroupAndTheServicesOneTree)
{
    expectOneTree(as(Caller::member, daemonOfRoot),
                  as(Caller::service, daemonOfRoot));
}

TEST_F(SharedFolders, KeepStrangersOutOfTheDataCache)
{
    Component leaf(root, 2);
    Process dump(as(Caller::stranger, {CACHE_DUMP}));
    EXPECT_THAT(dump.output(), HasSubstr("\"health\":{}"));
    EXPECT_THAT(dump.errors(), HasSubstr("Permission denied"));
}

TEST_F(SharedFolders, LetRootAndMembersChangeAttributesInTurn)
{
    EXPECT_EQ(setBy(clientOfRoot, "1"), "0");
    EXPECT_EQ(setBy(as(Caller::member, clientOfRoot), "2"), "0");
    EXPECT_EQ(setBy(as(Caller::service, clientOfRoot), "3"), "0");
    EXPECT_EQ(setBy(clientOfRoot, "4"), "0");
    EXPECT_THAT(contentOf(at("state/config/attributes.json")),
                HasSubstr("\"color\": 4"));
}

TEST_F(SharedFolders, LetStrangersReadAttributesAndNotChangeThem)
{
    EXPECT_EQ(setBy(clientOfRoot, "1"), "0");
    EXPECT_EQ(setBy(as(Caller::stranger, clientOfRoot), "2"),
              std::to_string(EACCES));
    EXPECT_THAT(outputOf(as(Caller::stranger,
                            {"cat", at("state/config/attributes.json")})),
                HasSubstr("\"color\": 1"));
}

TEST_F(SharedFolders, KeepTheLogForItsServiceAlone)
{
    LogClient client;
    Process logmgr(as(Caller::service, {LOGMGR}));
    client.waitUntilReady();
    EXPECT_EQ(client.add(recordOf(7)), 1U);
    for (const Caller caller : {Caller::stranger, Caller::member})
    {
        EXPECT_THAT(
            [&] {
                outputOf(as(caller, {"cat", at("state/sel/data.mdb")}));
            },
            ThrowsMessage<std::runtime_error>(HasSubstr("Permission denied")));
    }
    EXPECT_THAT(outputOf(as(Caller::member, {CACHE_DUMP})),
                HasSubstr("selentry/00001"));
}

} // namespace
} // namespace healthintf::test
