// SPDX-License-Identifier: Apache-2.0
/** @file What clients that we did not write see: busctl, gdbus and Python. */

#include "bus_client.hpp"
#include "component.hpp"
#include "private_bus.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <regex>

namespace healthintf::test
{
namespace
{

using testing::HasSubstr;

const std::string root = "/com/vexa/olvar/health";
const std::string key = root + "/fan";

/** A text with each run of whitespace replaced by one space. */
std::string normal(const std::string& text)
{
    return std::regex_replace(text, std::regex(" +"), " ");
}

class ForeignClients : public testing::Test
{
  protected:
    ForeignClients() : daemon(root, 2)
    {
        daemon.init(key, 2);
        daemon.add(key, "FAN0001", "/sensor", 1);
        for (const auto& [path, interfaces] : client.objects(daemon.name()))
        {
            if (path.find("/entry/") != std::string::npos)
            {
                entry = path;
            }
        }
    }

    std::string busctl(std::vector<std::string> arguments) const
    {
        arguments.insert(arguments.begin(), {"busctl", "--system"});
        return normal(readOutput(arguments));
    }

    std::string gdbus(const std::string& path) const
    {
        return readOutput({"gdbus", "introspect", "--system", "--dest",
                           daemon.name(), "--object-path", path});
    }

    PrivateBus bus;
    BusClient client;
    Component daemon;
    std::string entry;
};

TEST_F(ForeignClients, SeeTheInterfaceOfANode)
{
    EXPECT_EQ(busctl({"introspect", daemon.name(), key,
                      "com.vexa.olvar.healthmgr.HealthStatus"}),
              "NAME TYPE SIGNATURE RESULT/VALUE FLAGS\n"
              ".HealthStatus property u 4 emits-change\n"
              ".HealthStatusUpdate signal ssu - -\n");
    EXPECT_THAT(gdbus(key),
                HasSubstr("  interface com.vexa.olvar.healthmgr.HealthStatus "
                          "{\n"
                          "    methods:\n"
                          "    signals:\n"
                          "      HealthStatusUpdate(s arg_0,\n"
                          "                         s arg_1,\n"
                          "                         u arg_2);\n"
                          "    properties:\n"
                          "      readonly u HealthStatus = 4;\n"
                          "  };\n"));
}

TEST_F(ForeignClients, SeeTheInterfaceOfAFaultEntry)
{
    EXPECT_THAT(
        busctl({"introspect", daemon.name(), entry,
                "com.vexa.olvar.healthmgr.FaultEntry"}),
        testing::MatchesRegex(
            "NAME TYPE SIGNATURE RESULT/VALUE FLAGS\n"
            "\\.Args property as 2 \"one\" \"two\" emits-change\n"
            "\\.FQDD property s \"Test\\.1\" const\n"
            "\\.Hidden property b false emits-change\n"
            "\\.LcdMessage property s \"\" emits-change\n"
            "\\.LedState property i 0 emits-change\n"
            "\\.Message property s \"A fault of /sensor\" emits-change\n"
            "\\.MessageID property s \"FAN0001\" emits-change\n"
            "\\.SensorNumber property u 48 emits-change\n"
            "\\.SensorPath property s \"/sensor\" emits-change\n"
            "\\.SensorType property u 4 emits-change\n"
            "\\.Severity property u 4 emits-change\n"
            "\\.Timestamp property t [0-9]+ emits-change\n"
            "\\.FaultEntryAdded signal sssastusuu - -\n"
            "\\.FaultEntryRemoved signal sssuu - -\n"
            "\\.HideFaultForSensor signal bssi - -\n"));

    const std::string shown = gdbus(entry);
    std::size_t at = shown.find("com.vexa.olvar.healthmgr.FaultEntry {");
    ASSERT_NE(at, std::string::npos);
    for (const char* member :
         {"FaultEntryAdded(s arg_0,", "FaultEntryRemoved(s arg_0,",
          "HideFaultForSensor(b arg_0,", "readonly s FQDD = 'Test.1';",
          "readonly s MessageID = 'FAN0001';",
          "readonly s Message = 'A fault of /sensor';",
          "readonly as Args = ['one', 'two'];",
          "readonly t Timestamp = ", "readonly u Severity = 4;",
          "readonly s SensorPath = '/sensor';", "readonly u SensorNumber = 48;",
          "readonly u SensorType = 4;", "readonly i LedState = 0;",
          "readonly s LcdMessage = '';", "readonly b Hidden = false;"})
    {
        const auto next = shown.find(member, at);
        EXPECT_NE(next, std::string::npos) << member << " in its order";
        at = std::min(next, shown.size());
    }
}

TEST_F(ForeignClients, SeeTheTree)
{
    const std::string tree = busctl({"tree", "--list", daemon.name()});
    EXPECT_THAT(tree, HasSubstr(root + "\n"));
    EXPECT_THAT(tree, HasSubstr(key + "\n"));
    EXPECT_THAT(tree, HasSubstr(entry + "\n"));
}

TEST_F(ForeignClients, GetNodesAndEntriesFromTheObjectManager)
{
    const std::string objects =
        readOutput({"gdbus", "call", "--system", "--dest", daemon.name(),
                    "--object-path", root, "--method",
                    "org.freedesktop.DBus.ObjectManager.GetManagedObjects"});
    EXPECT_THAT(objects, HasSubstr("'" + key + "': {"));
    EXPECT_THAT(objects, HasSubstr("'com.vexa.olvar.healthmgr.HealthStatus': "
                                   "{'HealthStatus': <uint32 4>}"));
    EXPECT_THAT(objects, HasSubstr("'" + entry + "': {"));
    EXPECT_THAT(objects, HasSubstr("'MessageID': <'FAN0001'>"));
}

TEST_F(ForeignClients, ReceiveAFaultsSignalWithItsExactSignature)
{
    Process listener({"/usr/bin/python3", LISTENER});
    ASSERT_EQ(listener.hear(), "listening");
    daemon.add(key, "FAN0002", "/other", 2);
    EXPECT_THAT(
        listener.hear(),
        testing::MatchesRegex(
            "\\{\"path\": \"" + key +
            "/entry/Fault_[0-9A-F]+_3\", \"interface\": "
            "\"com\\.vexa\\.olvar\\.healthmgr\\.FaultEntry\", \"signature\": "
            "\"sssastusuu\", \"arguments\": \\[\"Test\\.1\", \"FAN0002\", "
            "\"A fault of /other\", \\[\"one\", \"two\"\\], [0-9]+, 3, "
            "\"/other\", 48, 4\\]\\}"));
    EXPECT_EQ(listener.wait(), 0);
}

TEST_F(ForeignClients, CannotWriteTheProperties)
{
    Process set({"busctl", "--system", "set-property", daemon.name(), key,
                 "com.vexa.olvar.healthmgr.HealthStatus", "HealthStatus", "u",
                 "0"});
    EXPECT_NE(set.wait(), 0);
    EXPECT_EQ(client.health(daemon.name(), key), 4u);
}

} // namespace
} // namespace healthintf::test
