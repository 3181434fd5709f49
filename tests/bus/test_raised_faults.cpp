// SPDX-License-Identifier: Apache-2.0
/** @file Faults that an operator raises, held by a real healthmgr. */

#include "blocked_file.hpp"
#include "cache_view.hpp"
#include "component.hpp"
#include "file_content.hpp"
#include "history_client.hpp"
#include "managed_tree.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <optional>

namespace healthintf::test
{
namespace
{

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;
using testing::UnorderedElementsAre;

const std::string missing = "HostMonitor.1.0.ProcessMissing";
const std::string critical = "HostMonitor.1.0.TemperatureCritical";

/** What is raised, with what most tests leave as it is. */
struct Wish
{
    std::string key;
    std::string message = missing;
    std::vector<std::string> arguments = {"pumpd", "0", "1"};
    std::string sensor = "";
    uint32_t number = 0;
    uint32_t seconds = 0;
    bool trial = false;
};

class RaisedFault : public ManagedTree
{
  protected:
    RaisedFault()
    {
        setenv("HEALTHINTF_REGISTRY_PATH", SHIPPED_REGISTRIES, 1);
    }

    /** @return the error's text; empty without an error */
    std::string raise(const Wish& wish)
    {
        sd_bus_message* raw = nullptr;
        sd_bus_message_new_method_call(client.get(), &raw, service,
                                       "/com/vexa/olvar/healthmgr", interface,
                                       "Raise");
        const MessagePtr call(raw);
        std::vector<char*> arguments;
        for (const std::string& each : wish.arguments)
        {
            arguments.push_back(const_cast<char*>(each.c_str()));
        }
        arguments.push_back(nullptr);
        sd_bus_message_append(raw, "ss", wish.key.c_str(),
                              wish.message.c_str());
        sd_bus_message_append_strv(raw, arguments.data());
        sd_bus_message_append(raw, "suub", wish.sensor.c_str(), wish.number,
                              wish.seconds, wish.trial ? 1 : 0);
        sd_bus_error error = SD_BUS_ERROR_NULL;
        sd_bus_call(client.get(), raw, 0, &error, nullptr);
        const std::string text = error.message == nullptr ? "" : error.message;
        sd_bus_error_free(&error);
        return text;
    }

    /** @return how many faults have ended; nothing when there was none */
    std::optional<uint32_t> clear(const std::string& component,
                                  const std::string& message = "")
    {
        try
        {
            uint32_t ended = 0;
            const auto reply =
                client.call(service, "/com/vexa/olvar/healthmgr", interface,
                            "Clear", "ss", component.c_str(), message.c_str());
            sd_bus_message_read(reply.get(), "u", &ended);
            return ended;
        }
        catch (const std::runtime_error& e)
        {
            EXPECT_THAT(e.what(), HasSubstr("Error.NoRaisedFault"));
            return std::nullopt;
        }
    }

    void endManager(int signal)
    {
        manager->signal(signal);
        manager->wait();
    }

    static std::vector<std::string> faultIds()
    {
        std::vector<std::string> ids;
        for (const RecordedFault& fault : recordedFaults())
        {
            ids.push_back(fault.messageID);
        }
        return ids;
    }

    static std::vector<std::string> faultPaths()
    {
        std::vector<std::string> paths;
        for (const RecordedFault& fault : recordedFaults())
        {
            paths.push_back(fault.path);
        }
        return paths;
    }

    std::filesystem::path file() const
    {
        return std::filesystem::path(getenv("HEALTHINTF_RUNTIME_DIR")) /
               "healthmgr" / "raised-faults.toml";
    }

    const char* const interface = "com.vexa.olvar.healthmgr.RaisedFaults";
    const std::string key = root + "/pump/motor";
};

TEST_F(RaisedFault, CountsForTheHealthOfItsComponentUntilItIsCleared)
{
    startManager();
    EXPECT_EQ(raise({.key = key}), "");
    client.waitForHealth(root, 3);
    const auto faults = recordedFaults();
    ASSERT_EQ(faults.size(), 1u);
    EXPECT_EQ(faults[0].message, "The process pumpd is not running.");
    EXPECT_THAT(faults[0].path, StartsWith(key + "/entry/"));
    EXPECT_EQ(dumpedCache()["faults"][0]["sensorPath"],
              "/com/vexa/olvar/sensors/raised");
    EXPECT_EQ(dumpedCache()["faults"][0]["fqdd"], "");
    EXPECT_EQ(clear(key), 1u);
    EXPECT_THAT(recordedFaults(), IsEmpty());
    EXPECT_EQ(recordedHealth(key), std::nullopt) << "nobody needs the node";
    client.waitForHealth(root, 0);
}

TEST_F(RaisedFault, IsMarkedWhenItIsForTrial)
{
    startManager();
    EXPECT_EQ(raise({.key = key, .sensor = "/s", .number = 7, .trial = true}),
              "");
    const auto fault = dumpedCache()["faults"][0];
    EXPECT_EQ(fault["fqdd"], "HealthManager.Trial");
    EXPECT_EQ(fault["sensorPath"], "/s");
    EXPECT_EQ(fault["sensorNumber"], 7);
}

TEST_F(RaisedFault, EndsByItselfAfterItsTime)
{
    startManager();
    EXPECT_EQ(raise({.key = key,
                     .message = critical,
                     .arguments = {"cpu", "101", "95"},
                     .seconds = 1}),
              "");
    EXPECT_EQ(raise({.key = key}), "");
    client.waitForHealth(root, 4);
    client.waitForHealth(root, 3);
    EXPECT_THAT(faultIds(), ElementsAre(missing));
}

TEST_F(RaisedFault, IsReplacedByOneWithTheSameMessageAndSensor)
{
    startManager();
    EXPECT_EQ(raise({.key = key}), "");
    EXPECT_EQ(raise({.key = key, .arguments = {"heaterd", "0", "1"}}), "");
    const auto faults = recordedFaults();
    ASSERT_EQ(faults.size(), 1u);
    EXPECT_EQ(faults[0].args, (std::vector<std::string>{"heaterd", "0", "1"}));
    EXPECT_EQ(raise({.key = key, .sensor = "/other"}), "");
    EXPECT_EQ(recordedFaults().size(), 2u);
}

TEST_F(RaisedFault, GoesOnWithAnotherEndWhenItIsRaisedAgain)
{
    startManager();
    EXPECT_EQ(raise({.key = key}), "");
    const auto before = faultPaths();
    EXPECT_EQ(raise({.key = key, .seconds = 3600}), "");
    EXPECT_EQ(faultPaths(), before) << "the same entry";
    EXPECT_EQ(raise({.key = key, .seconds = 1}), "");
    client.waitForHealth(root, 0);
    EXPECT_THAT(recordedFaults(), IsEmpty());
}

TEST_F(RaisedFault, IsClearedByComponentAndMessageOrWithAll)
{
    startManager();
    const std::string other = root + "/fan";
    for (const std::string& component : {key, other})
    {
        EXPECT_EQ(raise({.key = component}), "");
        EXPECT_EQ(raise({.key = component,
                         .message = critical,
                         .arguments = {"cpu", "101", "95"}}),
                  "");
    }
    EXPECT_EQ(clear(root), std::nullopt);
    EXPECT_EQ(clear(key, "No.Such"), std::nullopt);
    EXPECT_EQ(clear(key, critical), 1u);
    EXPECT_EQ(recordedFaults().size(), 3u);
    EXPECT_EQ(clear(""), 3u);
    EXPECT_THAT(recordedFaults(), IsEmpty());
    EXPECT_EQ(clear(""), std::nullopt);
}

TEST_F(RaisedFault, MustFitItsMessage)
{
    startManager();
    EXPECT_EQ(raise({.key = key, .message = "No.Such"}),
              "no registry has the message No.Such");
    EXPECT_EQ(raise({.key = key, .arguments = {}}),
              "the message " + missing + " takes 3 arguments, and not 0");
    EXPECT_EQ(raise({.key = key, .arguments = {"a", "b"}}),
              "the message " + missing + " takes 3 arguments, and not 2");
    EXPECT_EQ(raise({.key = key, .arguments = {"a", "", "b"}}),
              "an argument is empty");
    EXPECT_EQ(raise({.key = "/elsewhere"}),
              "this is no key: not below " + root);
    EXPECT_THAT(recordedFaults(), IsEmpty());
    EXPECT_EQ(recordedHealth(key), std::nullopt);
}

TEST_F(RaisedFault, MustMakeAFault)
{
    const TemporaryFolder registries;
    registries.write("Note.json",
                     R"({"RegistryPrefix": "Note", "RegistryVersion": "1.0.0",
                         "Language": "en",
                         "Messages": {"Fine": {"Message": "All is well.",
                                               "MessageSeverity": "OK",
                                               "NumberOfArgs": 0},
                                      "One": {"Message": "%1.",
                                              "MessageSeverity": "Warning",
                                              "NumberOfArgs": 1}}})");
    setenv("HEALTHINTF_REGISTRY_PATH", registries.path().c_str(), 1);
    startManager();
    EXPECT_THAT(
        raise({.key = key, .message = "Note.1.0.Fine", .arguments = {}}),
        HasSubstr("only informs"));
    EXPECT_EQ(raise({.key = key, .message = "Note.1.0.One"}),
              "the message Note.1.0.One takes 1 argument, and not 3");
}

TEST_F(RaisedFault, HasTextsOfABoundedLength)
{
    startManager();
    const std::size_t others =
        missing.size() + std::string("/com/vexa/olvar/sensors/raised").size();
    const std::size_t room = 4096 - others;
    EXPECT_EQ(raise({.key = key,
                     .arguments = {std::string(room - 2, 'x'), "0", "1"}}),
              "");
    EXPECT_THAT(raise({.key = key,
                       .arguments = {std::string(room - 1, 'y'), "0", "1"}}),
                HasSubstr("4097 bytes together"));
    EXPECT_EQ(recordedFaults().at(0).args[0].front(), 'x');
}

TEST_F(RaisedFault, IsBoundedInNumber)
{
    startManager();
    const auto fill = [this](const std::string& component) {
        std::string refusal;
        int there = 0;
        while (refusal.empty())
        {
            refusal = raise(
                {.key = component, .sensor = "/s" + std::to_string(there)});
            there += refusal.empty() ? 1 : 0;
        }
        EXPECT_THAT(refusal, HasSubstr("as many raised faults as there may "
                                       "be"));
        return there;
    };
    for (int i = 0; i < 8; ++i)
    {
        EXPECT_EQ(fill(key + std::to_string(i)), 8);
    }
    EXPECT_EQ(fill(key), 0);
    EXPECT_EQ(recordedFaults().size(), 64u);
    EXPECT_EQ(raise({.key = key + "1", .sensor = "/s3", .seconds = 99}), "")
        << "it is there already";
    EXPECT_EQ(clear(key + "7", missing), 8u);
    EXPECT_EQ(fill(key), 8);
}

TEST_F(RaisedFault, TakesNoComponentAwayFromItsDaemon)
{
    startManager();
    Component daemon(key, 2);
    client.waitForHealth(root, 2);
    const std::string pid = std::to_string(daemon.process.pid());
    EXPECT_EQ(raise({.key = key}),
              "process " + pid + " holds the component; raise the fault on " +
                  "one below it, such as " + key + "/trial");
    EXPECT_FALSE(managed(key));
    EXPECT_EQ(raise({.key = key + "/trial"}), "");
    client.waitForHealth(key, 3);
    EXPECT_EQ(clear(key + "/trial"), 1u);
    client.waitForHealth(key, 2);
}

TEST_F(RaisedFault, EndsWhenADaemonTakesTheComponent)
{
    startManager();
    EXPECT_EQ(raise({.key = key}), "");
    client.waitForHealth(root, 3);
    Component daemon(key, 2);
    client.waitUntil("change of hands", [&] {
        client.catchUp();
        return !managed(key);
    });
    client.waitForHealth(root, 2);
    EXPECT_THAT(recordedFaults(), IsEmpty());
    EXPECT_EQ(clear(key), std::nullopt);
    daemon.end();
    client.waitForHealth(root, 0);
}

TEST_F(RaisedFault, LetsDaemonsHoldComponentsBelowIt)
{
    startManager();
    EXPECT_EQ(raise({.key = key}), "");
    Component daemon(key + "/bearing", 2);
    daemon.add(key + "/bearing", "BAD", "/sensor", 1);
    client.waitForHealth(root, 4);
    EXPECT_EQ(clear(key), 1u);
    EXPECT_TRUE(managed(key)) << "the daemon needs the node";
    EXPECT_EQ(client.health(service, root), 4u);
}

TEST_F(RaisedFault, OutlivesARestartOfTheManager)
{
    for (const int signal : {SIGTERM, SIGKILL})
    {
        startManager();
        EXPECT_EQ(raise({.key = key, .seconds = 3600}), "");
        EXPECT_EQ(raise({.key = key, .sensor = "/s", .trial = true}), "");
        client.waitForHealth(root, 3);
        endManager(signal);
        startManager();
        client.waitUntil("faults", [] {
            return faultIds().size() == 2;
        });
        EXPECT_EQ(client.health(service, key), 3u);
        EXPECT_EQ(dumpedCache()["faults"][1]["fqdd"], "HealthManager.Trial");
        EXPECT_EQ(clear(key), 2u);
        endManager(SIGTERM);
    }
}

TEST_F(RaisedFault, EndsAtTheNextStartWhenItsTimeHasPassed)
{
    startManager();
    EXPECT_EQ(raise({.key = key, .seconds = 1}), "");
    endManager(SIGKILL);
    startManager();
    client.waitUntil("end", [] {
        return recordedFaults().empty();
    });
    EXPECT_EQ(clear(key), std::nullopt);
}

TEST_F(RaisedFault, StaysClearedAfterAFullDisk)
{
    startManager();
    EXPECT_EQ(raise({.key = key}), "");
    const BlockedFile blocked(file());
    EXPECT_EQ(clear(key), 1u);
    EXPECT_THAT(readContent(file()), HasSubstr(key));
    blocked.free();
    EXPECT_TRUE(blocked.loses(key));
    EXPECT_THAT(manager->errors(),
                HasSubstr("unable to write the raised faults"));
    endManager(SIGKILL);
    startManager();
    EXPECT_EQ(clear(""), std::nullopt);
}

TEST_F(RaisedFault, IsNotAnnouncedAnewWhenItsTimeHasPassed)
{
    std::filesystem::create_directories(file().parent_path());
    std::ofstream(file()) << "[[raised]]\ncomponent = '" << key
                          << "'\nmessage = '" << missing
                          << "'\narguments = ['pumpd', '0', '1']\n"
                             "sensor = '/s'\nend = 0\n";
    std::size_t announced = 0;
    sd_bus_add_match(
        client.get(), nullptr, "type='signal',member='FaultEntryAdded'",
        [](sd_bus_message*, void* count, sd_bus_error*) {
            ++*static_cast<std::size_t*>(count);
            return 0;
        },
        &announced);
    startManager();
    EXPECT_EQ(clear(""), std::nullopt);
    EXPECT_EQ(raise({.key = key, .sensor = "/t"}), "");
    client.catchUp();
    EXPECT_EQ(announced, 1U) << "only the other one";
    EXPECT_THAT(readContent(file()), Not(HasSubstr("end")));
}

TEST_F(RaisedFault, IsForgottenWithADamagedFile)
{
    std::filesystem::create_directories(file().parent_path());
    std::ofstream(file()) << "[[raised]]\ncomponent = 1\n";
    startManager();
    EXPECT_EQ(clear(""), std::nullopt);
    EXPECT_TRUE(std::filesystem::exists(file().string() + ".damaged"));
    EXPECT_THAT(manager->errors(), HasSubstr("the raised faults cannot be"));
}

TEST_F(RaisedFault, IsToldByTheHistoryAsAnyOther)
{
    Process logmgr({LOGMGR});
    HistoryClient history;
    history.waitUntilReady();
    const auto waitForRecords = [&history](std::size_t count) {
        history.waitUntil("records", [&] {
            return history.heard.size() >= count;
        });
    };
    startManager();
    EXPECT_EQ(raise({.key = key}), "");
    waitForRecords(1);
    endManager(SIGKILL);
    startManager();
    waitForRecords(3);
    EXPECT_THAT(HistoryClient::kinds(history.heard),
                UnorderedElementsAre("appeared", "withdrawn", "appeared"));
    EXPECT_EQ(clear(key), 1u);
    waitForRecords(4);
    EXPECT_EQ(history.heard.at(3).at("Kind"), "cleared");
    EXPECT_EQ(history.heard.at(3).at("Occurrence"), "2");
    for (const HistoryRecord& record : history.heard)
    {
        EXPECT_EQ(record.at("Component"), key);
        EXPECT_EQ(record.at("MessageID"), missing);
        EXPECT_EQ(record.at("Args"), " pumpd 0 1");
    }
}

TEST_F(RaisedFault, IsHiddenByASilenceOfItsComponent)
{
    startManager();
    client.call(service, "/com/vexa/olvar/healthmgr",
                "com.vexa.olvar.healthmgr.Silences", "Add", "a{sv}", 3,
                "Component", "s", key.c_str(), "Seconds", "u", 600, "Comment",
                "s", "a new pump comes");
    EXPECT_EQ(raise({.key = key}), "");
    client.waitUntil("hidden fault", [] {
        const auto faults = recordedFaults();
        return faults.size() == 1 && faults[0].hidden;
    });
    client.waitForHealth(root, 0);
}

TEST_F(RaisedFault, StaysBesideTheLostMonitorOfItsComponent)
{
    const TemporaryFolder folder;
    const std::string config = folder.write("healthmgr.toml", "");
    manager = std::make_unique<Process>(
        std::vector<std::string>{HEALTHMGR, "--config", config});
    client.waitUntil("manager", [&] {
        return managed(root);
    });
    Component daemon(key, 2);
    client.waitForHealth(root, 2);
    daemon.process.kill();
    client.waitUntil("change of hands", [&] {
        client.catchUp();
        return managed(key) && recordedFaults().size() == 1;
    });
    EXPECT_EQ(raise({.key = key}), "");
    EXPECT_EQ(recordedFaults().size(), 2u);
    client.call(service, "/com/vexa/olvar/healthmgr",
                "com.vexa.olvar.healthmgr.LostMonitors", "Dismiss", "s",
                key.c_str());
    EXPECT_THAT(faultIds(), ElementsAre(missing));
    EXPECT_EQ(clear(key), 1u);
    EXPECT_EQ(recordedHealth(key), std::nullopt);
}

} // namespace
} // namespace healthintf::test
