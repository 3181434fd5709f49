// SPDX-License-Identifier: Apache-2.0
/** @file Faults that operators silence for a time, with a real healthmgr and
 *  real daemons. */

#include "blocked_file.hpp"
#include "cache_view.hpp"
#include "component.hpp"
#include "file_content.hpp"
#include "managed_tree.hpp"
#include "operator_records.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <iterator>

namespace healthintf::test
{
namespace
{

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::Pair;

class SilencesOnBus : public ManagedTree
{
  protected:
    SilencesOnBus()
    {
        std::ofstream(configFile) << "";
        startReporting();
    }

    /** Starts healthmgr with the default configuration. */
    void startReporting()
    {
        manager = std::make_unique<Process>(
            std::vector<std::string>{HEALTHMGR, "--config", configFile});
        client.waitUntil("manager", [&] {
            return managed(root);
        });
    }

    /** Kills healthmgr and starts another one. */
    void replaceManager()
    {
        manager->kill();
        startReporting();
    }

    uint64_t add(const Members& target, uint32_t seconds = 600)
    {
        Members silence = target;
        silence.try_emplace("Seconds", seconds);
        silence.try_emplace("Comment", std::string("a new fan comes"));
        auto reply = silences.call("Add", [&](auto& call) {
            call.append(silence);
        });
        uint64_t id = 0;
        reply.read(id);
        return id;
    }

    void end(uint64_t id)
    {
        silences.call("End", [id](auto& call) {
            call.append(id);
        });
    }

    std::string refusal(const Members& silence)
    {
        return RecordInterface::refusal([&] {
            add(silence);
        });
    }

    /** Sends the hide signal as an operator does. */
    void sendHide(bool hide, const std::string& ofKey,
                  const std::string& sensor = "") const
    {
        sd_bus_emit_signal(client.get(), root.c_str(), service,
                           "HideFaultForSensor", "bssi", hide ? 1 : 0,
                           ofKey.c_str(), sensor.c_str(), 0);
    }

    /** A daemon with a critical fault of the sensor /sensor, number 48, that
     *  the client has heard of. */
    std::unique_ptr<Component> faultyDaemon()
    {
        auto daemon = std::make_unique<Component>(key, 2);
        client.updates.clear();
        daemon->add(key, "BAD", "/sensor", 1);
        client.waitUntil("report of the fault", [this] {
            return std::ranges::count(client.updates,
                                      root + "/fans " + key + " 4") > 0;
        });
        return daemon;
    }

    /** Whether there are so many faults, and all of them are hidden. */
    static bool allHidden(std::size_t count)
    {
        const auto faults = recordedFaults();
        return faults.size() == count &&
               std::ranges::all_of(faults, &RecordedFault::hidden);
    }

    /** Waits until the faults are hidden and all reports of that are heard. */
    void waitUntilHidden(std::size_t count = 1)
    {
        client.waitUntil("hidden faults", [count] {
            return allHidden(count);
        });
        client.waitForHealth(key, 2);
        client.waitUntil("health of the root", [this] {
            return client.health(service, root) == 2;
        });
        client.catchUp();
        client.updates.clear();
    }

    static std::filesystem::path file()
    {
        return std::filesystem::path(getenv("HEALTHINTF_STATE_DIR")) /
               "healthmgr" / "silences.toml";
    }

    /** The reports of trouble since waitUntilHidden(). */
    std::vector<std::string> troubles() const
    {
        std::vector<std::string> all;
        std::ranges::copy_if(client.updates, std::back_inserter(all),
                             [](const std::string& update) {
                                 return update.back() > '2';
                             });
        return all;
    }

    const std::string key = root + "/fans/fan1";
    const Members component{{"Component", key}};
    const Members sensor{{"SensorPath", std::string("/sensor")}};
    const Members number{{"SensorNumber", uint32_t{48}}};
    TemporaryFolder folder;
    const std::string configFile = folder.path() / "healthmgr.toml";
    RecordInterface silences{client, "com.vexa.olvar.healthmgr.Silences"};
};

TEST_F(SilencesOnBus, HideWhatTheirTargetNames)
{
    const auto daemon = faultyDaemon();
    for (const Members& target : {component, sensor, number})
    {
        client.waitForHealth(root, 4);
        const uint64_t id = add(target);
        waitUntilHidden();
        end(id);
        client.waitForHealth(root, 4);
    }
}

TEST_F(SilencesOnBus, AreListedAndAnnounced)
{
    const int64_t before = time(nullptr);
    EXPECT_EQ(add(component), 1U);
    EXPECT_EQ(add(number), 2U);
    auto all = silences.list();
    ASSERT_EQ(all.size(), 2U);
    const auto since = std::get<int64_t>(all[0]["Since"]);
    EXPECT_GE(since, before);
    EXPECT_LE(since, time(nullptr) + 1);
    const Members expected{{"Id", uint64_t{1}},
                           {"Component", key},
                           {"Seconds", uint32_t{600}},
                           {"Comment", std::string("a new fan comes")},
                           {"Since", since},
                           {"Until", since + 600},
                           {"User", uint32_t{geteuid()}}};
    EXPECT_EQ(all[0], expected);
    EXPECT_EQ(all[1]["SensorNumber"], Members::mapped_type(uint32_t{48}));
    end(1);
    client.waitUntil("signals", [this] {
        return silences.signals.size() == 3;
    });
    EXPECT_EQ(silences.signals[0],
              std::pair(std::string("Silenced"), expected));
    Members ended = expected;
    ended["Reason"] = std::string("ended");
    ended["EndedBy"] = uint32_t{geteuid()};
    EXPECT_EQ(silences.signals[2],
              std::pair(std::string("SilenceEnded"), ended));
    EXPECT_EQ(silences.list().size(), 1U);
}

TEST_F(SilencesOnBus, HideFaultsThatAreAddedLater)
{
    add(sensor);
    const auto daemon = faultyDaemon();
    waitUntilHidden();
    daemon->add(key, "WORSE", "/sensor", 1);
    waitUntilHidden(2);
    daemon->add(key, "OTHER", "/other", 1);
    client.waitForHealth(root, 4);
}

TEST_F(SilencesOnBus, EndByThemselves)
{
    const auto daemon = faultyDaemon();
    client.waitForHealth(root, 4);
    add(component, 1);
    client.waitForHealth(root, 2);
    client.waitForHealth(root, 4);
    client.waitUntil("signals", [this] {
        return silences.signals.size() == 2;
    });
    EXPECT_EQ(silences.signals[1].first, "SilenceEnded");
    EXPECT_THAT(
        silences.signals[1].second,
        Contains(Pair("Reason", Members::mapped_type(std::string("expired")))));
    EXPECT_THAT(silences.list(), IsEmpty());
}

TEST_F(SilencesOnBus, LastOverRestartsOfDaemonAndManager)
{
    auto daemon = faultyDaemon();
    client.waitForHealth(root, 4);
    constexpr uint32_t length = 8;
    add(component, length);
    waitUntilHidden();
    daemon->process.kill();
    manager->kill();
    startReporting();
    EXPECT_EQ(silences.list().size(), 1U);
    daemon = faultyDaemon();
    waitUntilHidden();
    client.waitUntil("end of the silence", [this] {
        return silences.signals.back().first == "SilenceEnded" ||
               !troubles().empty();
    });
    EXPECT_EQ(silences.signals.back().first, "SilenceEnded")
        << "visible before: " << testing::PrintToString(troubles());
    client.waitForHealth(root, 4);
}

TEST_F(SilencesOnBus, CoverTheFaultOfALostMonitor)
{
    add(component);
    faultyDaemon()->process.kill();
    client.waitUntil("lost monitor", [this] {
        return managed(key) && allHidden(1);
    });
    client.waitForHealth(root, 0);
}

TEST_F(SilencesOnBus, EndWhileNoManagerRuns)
{
    const auto daemon = faultyDaemon();
    client.waitForHealth(root, 4);
    add(component, 1);
    waitUntilHidden();
    manager->kill();
    const timespec longer{1, 100'000'000};
    nanosleep(&longer, nullptr);
    EXPECT_TRUE(allHidden(1)) << "nobody shows it";
    startReporting();
    client.waitForHealth(root, 4);
    client.waitUntil("signal", [this] {
        return silences.signals.size() == 2;
    });
    EXPECT_EQ(silences.signals[1].first, "SilenceEnded");
}

TEST_F(SilencesOnBus, HideFaultsThatCameWithoutAManager)
{
    add(sensor);
    manager->kill();
    const auto daemon = faultyDaemon();
    EXPECT_FALSE(allHidden(1));
    startReporting();
    waitUntilHidden();
}

TEST_F(SilencesOnBus, ShowTheirFaultsWithTheLastOfTheSameTarget)
{
    const auto daemon = faultyDaemon();
    client.waitForHealth(root, 4);
    const uint64_t first = add(component);
    const uint64_t second = add(component);
    waitUntilHidden();
    end(first);
    client.catchUp();
    daemon->expect("count", "0 1");
    client.catchUp();
    EXPECT_THAT(troubles(), IsEmpty());
    end(second);
    client.waitForHealth(root, 4);
}

TEST_F(SilencesOnBus, KeepAFaultHiddenThatAnotherOneCovers)
{
    add(sensor);
    add(component);
    const auto daemon = faultyDaemon();
    waitUntilHidden();
    end(1);
    client.catchUp();
    daemon->expect("count", "0 1");
    EXPECT_THAT(troubles(), IsEmpty());
    end(2);
    client.waitForHealth(root, 4);
}

TEST_F(SilencesOnBus, HideAgainWhatSomebodyShows)
{
    const auto daemon = faultyDaemon();
    client.waitForHealth(root, 4);
    const uint64_t id = add(component);
    waitUntilHidden();
    sendHide(false, key);
    client.waitUntil("shown and hidden again", [this] {
        return std::ranges::count(client.updates,
                                  root + "/fans " + key + " 2") == 1;
    });
    waitUntilHidden();
    end(id);
    client.waitForHealth(root, 4);
}

TEST_F(SilencesOnBus, HideAgainWhatADaemonShowsByItself)
{
    const auto daemon = faultyDaemon();
    client.waitForHealth(root, 4);
    add(component);
    waitUntilHidden();
    daemon->expect("enable " + key, "4");
    client.waitForHealth(root, 4);
    waitUntilHidden();
}

TEST_F(SilencesOnBus, ShowAtTheirEndWhatWasHiddenByHandToo)
{
    const auto daemon = faultyDaemon();
    client.waitForHealth(root, 4);
    sendHide(true, key);
    client.waitForHealth(root, 2);
    end(add(component));
    client.waitForHealth(root, 4);
}

TEST_F(SilencesOnBus, LeaveHiddenWhatWasHiddenByHandWithAnotherTarget)
{
    const auto daemon = faultyDaemon();
    client.waitForHealth(root, 4);
    sendHide(true, "", "/sensor");
    waitUntilHidden();
    end(add(component));
    client.catchUp();
    daemon->expect("count", "0 1");
    EXPECT_THAT(troubles(), IsEmpty());
}

TEST_F(SilencesOnBus, RefuseWhatIsNoSilence)
{
    const std::string invalid = "com.vexa.olvar.healthmgr.Error.Invalid: ";
    EXPECT_THAT(refusal({}), HasSubstr(invalid + "a silence is of one"));
    EXPECT_THAT(refusal({{"Component", uint32_t{1}}}),
                HasSubstr(invalid + "Component has another type"));
    Members other = component;
    other["Else"] = uint32_t{1};
    EXPECT_THAT(refusal(other), HasSubstr("a silence has no \"Else\""));
    other = component;
    other["Seconds"] = uint32_t{0};
    EXPECT_THAT(refusal(other), HasSubstr(invalid + "a silence lasts 1"));
    other = component;
    other["Comment"] = std::string("two\nlines");
    EXPECT_THAT(refusal(other), HasSubstr(invalid + "a comment must be"));
    EXPECT_THAT(RecordInterface::refusal([this] {
                    end(1);
                }),
                HasSubstr("Error.NoSilence: there is no silence 1"));
    EXPECT_THAT(silences.list(), IsEmpty());
    EXPECT_TRUE(managed(root)) << "healthmgr goes on";
}

TEST_F(SilencesOnBus, AreLimited)
{
    for (int i = 0; i < 64; ++i)
    {
        add(number);
    }
    EXPECT_THAT(refusal(number),
                HasSubstr("Error.TooMany: there are as many silences as may "
                          "be: 64 of one user, 256 in all"));
    end(1);
    EXPECT_EQ(add(number), 65U);
}

TEST_F(SilencesOnBus, AreForgottenBesideADamagedFileWhichIsSetAside)
{
    add(component);
    manager->kill();
    ASSERT_TRUE(exists(file()));
    std::ofstream(file()) << "damaged";
    startReporting();
    EXPECT_THAT(silences.list(), IsEmpty());
    EXPECT_THAT(manager->errors(), HasSubstr("the silences cannot be read"));
    EXPECT_TRUE(exists(std::filesystem::path(file().string() + ".damaged")));
}

TEST_F(SilencesOnBus, StayEndedAfterAFullDisk)
{
    add(component);
    EXPECT_THAT(readContent(file()), HasSubstr("a new fan comes"));
    const BlockedFile blocked(file());
    end(1);
    EXPECT_THAT(readContent(file()), HasSubstr("a new fan comes"));
    blocked.free();
    EXPECT_TRUE(blocked.loses("a new fan comes"));
    replaceManager();
    EXPECT_THAT(silences.list(), IsEmpty());
}

TEST_F(SilencesOnBus, SendFewSignalsInAStormOfFaults)
{
    add(sensor);
    std::size_t sent = 0;
    sd_bus_add_match(
        client.get(), nullptr, "type='signal',member='HideFaultForSensor'",
        [](sd_bus_message*, void* count, sd_bus_error*) {
            ++*static_cast<std::size_t*>(count);
            return 0;
        },
        &sent);
    Component daemon(key, 2);
    const auto begin = std::chrono::steady_clock::now();
    constexpr int storm = 400;
    for (int i = 0; i < storm; ++i)
    {
        daemon.add(key, "BAD", "/sensor", 1);
        daemon.remove(key, "BAD", "/sensor");
    }
    daemon.add(key, "BAD", "/sensor", 1);
    waitUntilHidden();
    const auto pauses = (std::chrono::steady_clock::now() - begin) /
                        std::chrono::milliseconds(50);
    EXPECT_LE(sent, static_cast<std::size_t>(pauses) + 2);
}

} // namespace
} // namespace healthintf::test
