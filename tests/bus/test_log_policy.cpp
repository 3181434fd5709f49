// SPDX-License-Identifier: Apache-2.0
/** @file Who may do what with the System Event Log under the installed policy.
 */

#include "file_content.hpp"
#include "installed_policy.hpp"
#include "log_client.hpp"
#include "logmgr/history_protocol.hpp"
#include "private_bus.hpp"
#include "process.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <unistd.h>

#include <filesystem>
#include <string>
#include <vector>

namespace healthintf::test
{
namespace
{

using testing::HasSubstr;
using testing::ThrowsMessage;
using Words = std::vector<std::string>;

/** The file of an administrator's own that keeps operators from clearing the
 *  log, as the page on installing has it. */
std::string rulesOfThePage()
{
    const std::string page = readContent(std::filesystem::path(BUS_POLICIES) /
                                         "../../docs/install.md");
    const std::size_t begin =
        page.rfind("<busconfig>", page.find("<deny send_type"));
    const std::string end = "</busconfig>";
    return innerRules(
        page.substr(begin, page.find(end, begin) + end.size() - begin));
}

/** logmgr on a bus with the installed policy. */
class LogPolicy : public testing::Test
{
  public:
    /** @param[in] more rules that the bus reads after the installed ones */
    explicit LogPolicy(const std::string& more = "") :
        bus(systemRules + installedRules(logService) + more)
    {}

  protected:
    void SetUp() override
    {
        client.waitUntilReady();
    }

    PrivateBus bus;
    LogClient client;
    Process logmgr{{LOGMGR}};
};

/** The same bus with other users. */
class LogPolicyOfOthers : public LogPolicy
{
  public:
    using LogPolicy::LogPolicy;

  protected:
    void SetUp() override
    {
        if (geteuid() != 0)
        {
            GTEST_SKIP() << "needs root, to become another user";
        }
        letOthersIn(bus);
        LogPolicy::SetUp();
    }

    static std::string callAs(Caller caller, const Words& arguments)
    {
        Words command{"call", logService, logPath, logInterface};
        command.insert(command.end(), arguments.begin(), arguments.end());
        return busctlAs(caller, command);
    }
};

/** The same with the rules of the page. */
class LogPolicyOfThePage : public LogPolicyOfOthers
{
  public:
    LogPolicyOfThePage() : LogPolicyOfOthers(rulesOfThePage())
    {}
};

/** The arguments of a call that adds the record of an unnamed sensor. */
const Words addition{"AddSEL", "(ssyy)ay", "",  "",  "0", "0", "16",   "0",
                     "0",      "2",        "0", "0", "0", "0", "0x20", "0",
                     "4",      "4",        "7", "1", "0", "0", "0"};

TEST(BusWithoutAPolicy, RefusesTheLogManager)
{
    const PrivateBus bus(systemRules);
    Process logmgr({LOGMGR});
    EXPECT_NE(logmgr.wait(), 0);
    EXPECT_THAT(logmgr.errors(), HasSubstr("Permission denied"));
}

TEST_F(LogPolicy, LetsRootAddClearAndReceiveSignals)
{
    EXPECT_EQ(client.add(makeRecord(7)), 1U);
    EXPECT_EQ(client.entry(1).record[11], 7);
    EXPECT_EQ(client.clear(), 1U);
    client.catchUp();
    EXPECT_EQ(client.heard.size(), 2U);
}

TEST_F(LogPolicyOfOthers, LetsEverybodyRead)
{
    client.add(makeRecord(7));
    EXPECT_THAT(callAs(Caller::stranger, {"GetEntry", "q", "1"}),
                HasSubstr("Fan 7"));
    EXPECT_THAT(callAs(Caller::stranger, {"ListEntries", "qu", "0", "0"}),
                HasSubstr("Fan 7"));
    EXPECT_THAT(callAs(Caller::stranger, {"ListLog", "ttu", "0", "0", "0"}),
                HasSubstr("Fan 7"));
    EXPECT_EQ(busctlAs(Caller::stranger, {"get-property", logService, logPath,
                                          logInterface, "Entries"}),
              "u 1\n");
    // introspect reads all properties and the introspection data.
    EXPECT_THAT(busctlAs(Caller::stranger,
                         {"introspect", logService, logPath, logInterface}),
                HasSubstr("\"refuse\""));
    EXPECT_NO_THROW(
        busctlAs(Caller::stranger, {"call", logService, logPath,
                                    "org.freedesktop.DBus.Peer", "Ping"}));
}

TEST_F(LogPolicyOfOthers, DeniesEverybodyTheCallsOfOtherGroups)
{
    client.add(makeRecord(7));
    const Words stamped{
        "AddSELWithTimestamp", "(ssyy)ayu", "", "", "0", "0", "0", "0"};
    const Words clear{"Clear"};
    const Words clearUpTo{"ClearUpTo", "tq", "0", "65535"};
    const auto expectDenied = [](Caller caller, const Words& wanted) {
        EXPECT_THAT(
            [&] {
                callAs(caller, wanted);
            },
            ThrowsMessage<std::runtime_error>(HasSubstr("Access denied")))
            << wanted[0];
    };
    for (const Caller caller :
         {Caller::stranger, Caller::operatorUser, Caller::logmgr})
    {
        expectDenied(caller, addition);
        expectDenied(caller, stamped);
    }
    for (const Caller caller : {Caller::stranger, Caller::reporter,
                                Caller::healthmgr, Caller::logmgr})
    {
        expectDenied(caller, clear);
        expectDenied(caller, clearUpTo);
    }
    EXPECT_EQ(client.property("Entries"), "1");
}

TEST_F(LogPolicyOfOthers, LetsEverybodyReadTheHistoryAndOperatorsClearIt)
{
    const auto callHistory = [](Caller caller, Words arguments) {
        arguments.insert(arguments.begin(),
                         {"call", host::historyService, host::historyPath,
                          host::historyInterface});
        return busctlAs(caller, arguments);
    };
    const Words read{"Read", "tbua{sv}", "0", "false", "10", "0"};
    client.waitUntil("history", [this] {
        return !client.findOwner(host::historyService).empty();
    });
    EXPECT_EQ(callHistory(Caller::stranger, read), "aa{sv}t 0 0\n");
    for (const Caller caller : {Caller::stranger, Caller::reporter,
                                Caller::healthmgr, Caller::logmgr})
    {
        EXPECT_THAT(
            [&] {
                callHistory(caller, {"Clear"});
            },
            ThrowsMessage<std::runtime_error>(HasSubstr("Access denied")));
    }
    EXPECT_EQ(callHistory(Caller::operatorUser, {"Clear"}), "");
}

TEST_F(LogPolicyOfOthers, LetsReportersAddAndOperatorsClear)
{
    EXPECT_EQ(callAs(Caller::reporter, addition), "u 1\n");
    EXPECT_EQ(client.property("Entries"), "1");
    EXPECT_EQ(callAs(Caller::operatorUser, {"Clear"}), "u 1\n");
    EXPECT_EQ(client.property("Entries"), "0");
    EXPECT_EQ(callAs(Caller::operatorUser, {"ClearUpTo", "tq", "0", "0"}),
              "uq 0 0\n");
}

TEST_F(LogPolicyOfThePage, KeepsOperatorsFromClearing)
{
    client.add(makeRecord(7));
    const std::vector<Words> clearings{{"Clear"},
                                       {"ClearUpTo", "tq", "0", "65535"}};
    for (const Words& clearing : clearings)
    {
        EXPECT_THAT(
            [&] {
                callAs(Caller::operatorUser, clearing);
            },
            ThrowsMessage<std::runtime_error>(HasSubstr("Access denied")))
            << clearing[0];
    }
    EXPECT_EQ(client.property("Entries"), "1");
}

TEST_F(LogPolicyOfOthers, GivesTheNameOnlyToTheLogManagersUser)
{
    logmgr.kill();
    for (const Caller caller : {Caller::stranger, Caller::reporter,
                                Caller::operatorUser, Caller::healthmgr})
    {
        EXPECT_THAT(
            [&] {
                requestNameAs(caller, logService);
            },
            ThrowsMessage<std::runtime_error>(HasSubstr("Access denied")));
    }
    EXPECT_EQ(requestNameAs(Caller::logmgr, logService), "u 1\n");
}

} // namespace
} // namespace healthintf::test
