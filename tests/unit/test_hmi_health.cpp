// SPDX-License-Identifier: Apache-2.0
#include "health_node_test.hpp"
#include "keep_forever.hpp"
#include "slots.hpp"
#include "text.hpp"

#include <hmi_health.hpp>

#include <gmock/gmock.h>

#include <memory>
#include <stdexcept>

/** An optional function of the platform contract, which only this test's
 *  platform has. */
long datacache_healthstatus_exists(const std::string& path, bool& exists)
{
    using namespace healthintf::test;
    const long result =
        journal().called("datacache_healthstatus_exists", "'" + path + "'", 0);
    if (result == DataAbstraction::readOk)
    {
        exists = platform().healthRecords.contains(path);
    }
    return result;
}

namespace health_namespace
{
namespace
{

using namespace healthintf::test;
using testing::HasSubstr;

const std::string root = "/com/vexa/olvar/health";

class HealthNode : public HealthNodeTest
{};

TEST_F(HealthNode, IsMadeSubscribedAndPublishedInThisOrder)
{
    const std::string key = root + "/a";
    const auto node = make(key, 2);
    ASSERT_NE(node, nullptr);
    const CallsAndLog made = journal().takeApart();
    const std::string match =
        "type='signal',interface='com.vexa.olvar.healthmgr.HealthStatus',"
        "member='HealthStatusUpdate',arg0='/com/vexa/olvar/health/a'";
    Lines calls{
        "healthstatus_cluster",
        "sd_bus_add_object_vtable " + key +
            " com.vexa.olvar.healthmgr.HealthStatus",
        "datacache_healthstatus_create " + key + " {HealthStatus=2}",
        "healthstatus_cluster.PropertyChanged " + key + " HealthStatus=2",
        "PropertiesChanged " + key + " HealthStatus",
        "sd_bus_add_match " + match,
        "HealthStatus.get_map_by_path_prefixes [] ['" + key + "']",
        "datacache_healthstatus_set_property " + key + " HealthStatus=2",
        update(key, root, key, 2)};
    if constexpr (!seamSeesMatches<>)
    {
        std::erase(calls, "sd_bus_add_match " + match);
    }
    EXPECT_EQ(made.calls, calls);

    const std::string log = "7 271 hmi_health.#.";
    const std::string subscribe = log + "RegisterHealthStatusCallback: ";
    const std::string children = log + "GetImmediateChildHealthStatus: ";
    const std::string recalculate = log + "recalculateHealth: ";
    const std::string send = log + "updateHealthStatusAndSendSignalInternal: ";
    EXPECT_EQ(made.log,
              (Lines{log + "Init: Initalizing 2 for " + key + " key",
                     log + "HealthStatus: constructor " + key,
                     log + "Init: Register " + key + " for internal callback",
                     subscribe + "Registered the health status call back",
                     subscribe + match, children + "Entry path:" + key,
                     children + "inserting same : " + key,
                     recalculate + "childMap size:1",
                     recalculate + "Key:" + key + " status:2 health:0",
                     recalculate + "Recalculated health : 2, oldHealth:2\n",
                     send + "Send signal for " + key + " with health 2\n",
                     send + "Parent : " + root}));
}

TEST_F(HealthNode, StartsWithAnEmptyMapWhenItsHealthIsNone)
{
    const auto node = make(root + "/a", 0);
    journal().take();
    node->print();
    EXPECT_EQ(journal().take(),
              (Lines{"log 7 271 hmi_health.#.print: HealthStatus of parent "
                     "/com/vexa/olvar/health/a is 0",
                     "log 7 271 hmi_health.#.print: Done\n"}));
}

TEST_F(HealthNode, HoldsItsOwnHealthInItsMap)
{
    const auto node = make(root + "/a", 3);
    journal().take();
    node->print();
    EXPECT_EQ(journal().take(),
              (Lines{"log 7 271 hmi_health.#.print: HealthStatus of parent "
                     "/com/vexa/olvar/health/a is 3",
                     "log 7 271 hmi_health.#.print: HealthStatus of child "
                     "/com/vexa/olvar/health/a is 3",
                     "log 7 271 hmi_health.#.print: Done\n"}));
}

TEST_F(HealthNode, ReportsHealthNoneToItsParentWhenDestroyed)
{
    auto node = make(root + "/a", 3);
    journal().take();
    node.reset();
    EXPECT_EQ(journal().take(),
              (Lines{"log 7 271 hmi_health.#.~HealthStatus: destructor "
                     "/com/vexa/olvar/health/a",
                     update(root + "/a", root, root + "/a", 0),
                     "log 9 128 server.67.~HealthStatus: destructor called, "
                     "DAL true",
                     "datacache_healthstatus_remove /com/vexa/olvar/health/a",
                     "~healthstatus_cluster"}));
}

TEST_F(HealthNode, IsDestroyedEvenWhenNothingCanBeSent)
{
    auto node = make(root + "/a", 3);
    journal().take();
    journal().answer("sd_bus_send HealthStatusUpdate", -ENOTCONN);
    node.reset();
    const Lines lines = journal().take();
    EXPECT_THAT(lines, testing::Contains(
                           "log 2 271 hmi_health.#.~HealthStatus: "
                           "sd_bus_send: System.Error.ENOTCONN: Transport "
                           "endpoint is not connected"));
    EXPECT_TRUE(platform().healthRecords.empty());
}

TEST_F(HealthNode, StopsListeningWhenDestroyed)
{
    auto node = make(root + "/a", 2);
    node.reset();
    journal().take();
    childReports(root + "/a", root + "/a/b", 4);
    EXPECT_EQ(journal().take(), Lines{});
}

TEST_F(HealthNode, GivesTheRootTheParentAboveIt)
{
    const auto node = make(root, 2);
    ASSERT_NE(node, nullptr);
    EXPECT_THAT(journal().take(),
                testing::Contains(update(root, "/com/vexa/olvar", root, 2)));
}

TEST_F(HealthNode, IsNotMadeForAKeyThatIsNoObjectPath)
{
    for (const char* key : {"", "abc", "abc/def", "/a/", "/a b"})
    {
        journal().take();
        EXPECT_EQ(make(key, 2), nullptr) << key;
        EXPECT_EQ(journal().lines().back(),
                  "log 2 271 EXCEPTION hmi_health.#.Init: "
                  "sd_bus_add_object_vtable: "
                  "org.freedesktop.DBus.Error.InvalidArgs: Invalid argument");
    }
    EXPECT_TRUE(platform().healthRecords.empty());
}

TEST_F(HealthNode, IsNotMadeForAKeyOfThousandsOfLevels)
{
    std::string key = root;
    for (int level = 0; level < 7000; ++level)
    {
        key += "/a";
    }
    journal().take();
    EXPECT_EQ(make(key, 2), nullptr);
    EXPECT_THAT(journal().lines().back(),
                HasSubstr("EXCEPTION hmi_health.#.Init: "
                          "sd_bus_add_object_vtable: "
                          "System.Error.ENAMETOOLONG"));
    EXPECT_TRUE(platform().healthRecords.empty());
}

TEST_F(HealthNode, IsNotMadeTwiceOnOneBus)
{
    const auto first = make(root + "/a", 2);
    EXPECT_EQ(make(root + "/a", 3), nullptr);
    EXPECT_EQ(platform().healthRecords.at(root + "/a"),
              (HealthStatusPropertyMap{{"HealthStatus", 2u}}));
}

TEST_F(HealthNode, StaysPublishedWhenItCannotBeSubscribed)
{
    if constexpr (!seamSeesMatches<>)
    {
        GTEST_SKIP() << "this sdbusplus adds matches unseen";
    }
    keepForever(connection.raw());
    std::string key = root + "/a";
    journal().answer("sd_bus_add_match", -ENOBUFS);
    EXPECT_EQ(HealthStatus::Init(bus, key, 2), nullptr);
    EXPECT_EQ(platform().healthRecords.count(key), 1u);
    EXPECT_EQ(journal().count("~healthstatus_cluster"), 0u);
    EXPECT_THAT(journal().lines().back(),
                HasSubstr("EXCEPTION hmi_health.#.Init: sd_bus_match"));
}

TEST_F(HealthNode, StaysPublishedWhenNothingCanBeSent)
{
    keepForever(connection.raw());
    std::string key = root + "/a";
    journal().answer("sd_bus_send HealthStatusUpdate", -ENOTCONN);
    EXPECT_EQ(HealthStatus::Init(bus, key, 2), nullptr);
    EXPECT_EQ(platform().healthRecords.count(key), 1u);
}

TEST_F(HealthNode, ReadsItsChildrensHealthFromTheDataCache)
{
    haveHealthRecord(root + "/a/x", 3);
    haveHealthRecord(root + "/a/y", 4);
    haveHealthRecord(root + "/a/y/z", 4);
    haveHealthRecord(root + "/b", 4);
    const auto node = make(root + "/a", 2);
    EXPECT_EQ(node->healthStatus(), 4u);
    journal().take();
    node->print();
    EXPECT_EQ(journal().take().size(), 5u) << "the node, x and y";
}

TEST_F(HealthNode, KeepsAChildOfHealthZeroInTheDataCache)
{
    haveHealthRecord(root + "/a/x", 0);
    const auto node = make(root + "/a", 2);
    journal().take();
    node->print();
    EXPECT_THAT(journal().take(),
                testing::Contains("log 7 271 hmi_health.#.print: HealthStatus "
                                  "of child /com/vexa/olvar/health/a/x is "
                                  "0"));
    EXPECT_EQ(node->healthStatus(), 2u);
}

TEST_F(HealthNode, PublishesOnceAtStartEvenWithoutAChange)
{
    const auto node = make(root + "/a", 2);
    EXPECT_EQ(journal().count("signal "), 1u);
    journal().take();
    EXPECT_EQ(node->GetImmediateChildsAndUpdate(), 0);
    EXPECT_EQ(journal().count("signal "), 1u);
}

TEST_F(HealthNode, PublishesNothingAtStartWhenTheReadFails)
{
    for (const long result : {5L, 256L})
    {
        journal().clear();
        journal().answer("HealthStatus.get_map_by_path_prefixes", result);
        const auto node = make(root + "/a", 2);
        ASSERT_NE(node, nullptr);
        EXPECT_EQ(journal().count("signal "), 0u);
        EXPECT_THAT(journal().lines(),
                    testing::Contains(
                        "log 2 271 "
                        "hmi_health.#.GetImmediateChildHealthStatus: Error in "
                        "fetching from data cache " +
                        std::to_string(result)));
        EXPECT_EQ(node->healthStatus(), 2u);
    }
}

TEST_F(HealthNode, PublishesHealthNoneOnlyAsAChange)
{
    const auto node = make(root + "/a", 3);
    journal().take();
    EXPECT_EQ(node->updateHealthStatus(0), 0);
    EXPECT_EQ(journal().take(),
              (Lines{"log 7 271 hmi_health.#.updateHealthStatus: "
                     "key:/com/vexa/olvar/health/a, status:0",
                     "log 7 271 hmi_health.#.updateHealthStatus: Status Good, "
                     "so remove /com/vexa/olvar/health/a\n",
                     "log 7 271 hmi_health.#.recalculateHealth: childMap "
                     "size:0",
                     "log 7 271 hmi_health.#.recalculateHealth: Recalculated "
                     "health : 0, oldHealth:3\n",
                     "datacache_healthstatus_set_property "
                     "/com/vexa/olvar/health/a HealthStatus=0",
                     "healthstatus_cluster.PropertyChanged "
                     "/com/vexa/olvar/health/a HealthStatus=0",
                     "PropertiesChanged /com/vexa/olvar/health/a "
                     "HealthStatus",
                     "log 7 271 hmi_health.#."
                     "updateHealthStatusAndSendSignalInternal: Send signal "
                     "for /com/vexa/olvar/health/a with health 0\n",
                     update(root + "/a", root, root + "/a", 0),
                     "log 7 271 hmi_health.#."
                     "updateHealthStatusAndSendSignalInternal: Parent : "
                     "/com/vexa/olvar/health"}));
    EXPECT_EQ(node->updateHealthStatus(0), 0);
    EXPECT_EQ(journal().takeCalls(), Lines{});
}

TEST_F(HealthNode, IsTheWorstOfItsChildrenAndItself)
{
    const auto node = make(root + "/a", 2);
    childReports(root + "/a", root + "/a/x", 3);
    EXPECT_EQ(node->healthStatus(), 3u);
    childReports(root + "/a", root + "/a/y", 4);
    EXPECT_EQ(node->healthStatus(), 4u);
    childReports(root + "/a", root + "/a/y", 0);
    EXPECT_EQ(node->healthStatus(), 3u);
    childReports(root + "/a", root + "/a/x", 0);
    EXPECT_EQ(node->healthStatus(), 2u);
}

TEST_F(HealthNode, KnowsAChildUntilItsHealthIsNone)
{
    const auto node = make(root + "/a", 0);
    HealthStatus::ChildMap known;
    node->healthCalculator = [&known](const std::string&,
                                      const HealthStatus::ChildMap& children) {
        known = children;
        return 1u;
    };
    childReports(root + "/a", root + "/a/x", 1);
    EXPECT_EQ(known, (HealthStatus::ChildMap{{root + "/a/x", 1}}));
    childReports(root + "/a", root + "/a/x", 0);
    EXPECT_EQ(known, HealthStatus::ChildMap{});
}

TEST_F(HealthNode, TakesAChildsHealthWithoutASignalToo)
{
    const auto node = make(root + "/a", 2);
    std::string child = root + "/a/x";
    EXPECT_EQ(node->healthStatusInternalCallbackHandler(child, 3), 0);
    EXPECT_EQ(node->healthStatus(), 3u);
    EXPECT_EQ(node->healthStatusInternalCallbackHandler(child, 0), 0);
    EXPECT_EQ(node->healthStatus(), 2u);
}

TEST_F(HealthNode, PublishesItsHealthAgainWhenNoChildIsNamed)
{
    const auto node = make(root + "/a", 2);
    childReports(root + "/a", root + "/a/x", 3);
    journal().take();
    connection.signal("/x", "com.vexa.olvar.healthmgr.HealthStatus",
                      "HealthStatusUpdate", "ssu", (root + "/a").c_str(), "",
                      0u);
    EXPECT_EQ(journal().takeCalls(),
              (Lines{"datacache_healthstatus_set_property " + root +
                         "/a HealthStatus=3",
                     update(root + "/a", root, root + "/a", 3)}));
}

TEST_F(HealthNode, TakesAChildsReportInThisOrder)
{
    const auto node = make(root + "/a", 2);
    journal().take();
    childReports(root + "/a", root + "/a/x", 3);
    const Lines lines = journal().take();
    ASSERT_GE(lines.size(), 3u);
    EXPECT_EQ(lines[0], "log 7 271 hmi_health.#.healthStatusCallbackHandler: "
                        "Health Status Update ");
    EXPECT_EQ(lines[1], "log 7 271 hmi_health.#.healthStatusCallbackHandler: "
                        "3 received for /com/vexa/olvar/health/a/x");
    EXPECT_EQ(lines[2],
              "log 7 271 hmi_health.#.recalculateHealth: childMap size:2");
    EXPECT_EQ(lines[lines.size() - 2],
              update(root + "/a", root, root + "/a", 3));
}

TEST_F(HealthNode, IgnoresAReportForAnotherKey)
{
    const auto node = make(root + "/a", 2);
    sd_bus_message* raw = nullptr;
    ASSERT_GE(
        sd_bus_message_new_signal(connection.raw(), &raw, "/x", "a.b", "C"), 0);
    const MessagePtr owned(raw);
    ASSERT_GE(sd_bus_message_append(raw, "ssu", "/other", "/other/x", 4u), 0);
    ASSERT_GE(sd_bus_message_seal(raw, 1, 0), 0);
    sdbusplus::message_t message(raw);
    journal().take();
    EXPECT_EQ(node->healthStatusCallbackHandler(message), 0);
    EXPECT_EQ(journal().take(),
              (Lines{"log 7 271 hmi_health.#.healthStatusCallbackHandler: "
                     "Health Status Update ",
                     "log 7 271 hmi_health.#.healthStatusCallbackHandler: 4 "
                     "received for /other/x",
                     "log 7 271 hmi_health.#.healthStatusCallbackHandler: "
                     "Parent /other is not my key "
                     "/com/vexa/olvar/health/a"}));
    EXPECT_EQ(node->healthStatus(), 2u);
}

TEST_F(HealthNode, ReceivesOnlyReportsForItsKey)
{
    const auto node = make(root + "/a", 2);
    journal().take();
    childReports(root, root + "/a", 4);
    childReports(root + "/ab", root + "/ab/c", 4);
    EXPECT_EQ(journal().take(), Lines{});
}

TEST_F(HealthNode, LivesOnAfterMalformedReports)
{
    const auto node = make(root + "/a", 2);
    journal().take();
    const auto report = [this](const char* types, auto... args) {
        connection.signal("/x", "com.vexa.olvar.healthmgr.HealthStatus",
                          "HealthStatusUpdate", types, args...);
    };
    const std::string key = root + "/a";
    report("s", key.c_str());
    report("ss", key.c_str(), "child");
    report("sss", key.c_str(), "child", "4");
    report("suu", key.c_str(), 1u, 4u);
    report("ssi", key.c_str(), "child", 4);
    EXPECT_EQ(journal().count("log 2 271 EXCEPTION hmi_health.#."
                              "healthStatusCallbackHandler: sd_bus_message_"
                              "read_basic "),
              5u);
    EXPECT_EQ(node->healthStatus(), 2u);
    childReports(key, key + "/x", 4);
    EXPECT_EQ(node->healthStatus(), 4u);
}

TEST_F(HealthNode, ThrowsOnAMalformedReportWhenCalledDirectly)
{
    const auto node = make(root + "/a", 2);
    sd_bus_message* raw = nullptr;
    ASSERT_GE(
        sd_bus_message_new_signal(connection.raw(), &raw, "/x", "a.b", "C"), 0);
    const MessagePtr owned(raw);
    ASSERT_GE(sd_bus_message_append(raw, "ss", "/a", "/a/x"), 0);
    ASSERT_GE(sd_bus_message_seal(raw, 1, 0), 0);
    sdbusplus::message_t message(raw);
    EXPECT_THROW(node->healthStatusCallbackHandler(message),
                 sdbusplus::exception::SdBusError);
}

TEST_F(HealthNode, ResendsItsOldHealthWhenTheCacheRefusesTheNew)
{
    const auto node = make(root + "/a", 2);
    journal().take();
    journal().answer("datacache_healthstatus_set_property", 9);
    EXPECT_EQ(node->updateHealthStatus(4), 4);
    EXPECT_EQ(node->healthStatus(), 2u);
    EXPECT_EQ(journal().take("signal"),
              Lines{update(root + "/a", root, root + "/a", 2)});
}

TEST_F(HealthNode, ThrowsWhenItsHealthCannotBeSent)
{
    const auto node = make(root + "/a", 2);
    journal().answer("sd_bus_send HealthStatusUpdate", -ENOTCONN);
    EXPECT_THROW(node->updateHealthStatus(4), sdbusplus::exception::SdBusError);
    EXPECT_EQ(node->healthStatus(), 4u);
}

TEST_F(HealthNode, UsesItsCalculatorIfItHasOne)
{
    const auto node = make(root + "/a", 2);
    node->healthCalculator = [](const std::string& key,
                                const HealthStatus::ChildMap& children) {
        EXPECT_EQ(key, "/com/vexa/olvar/health/a");
        return static_cast<unsigned int>(children.size());
    };
    journal().take();
    EXPECT_EQ(node->recalculateHealth(false), 1u);
    EXPECT_EQ(node->healthStatus(), 1u);
    EXPECT_EQ(journal().lines()[1],
              "log 7 271 hmi_health.#.recalculateHealth: Registerd callback "
              "called for calculating health");
}

TEST_F(HealthNode, PassesThePublishedHealthToItsCallback)
{
    const auto node = make(root + "/a", 2);
    std::vector<unsigned int> told;
    node->healthChangedCallback = [&](unsigned int health) {
        told.push_back(health);
    };
    node->updateHealthStatus(2);
    node->updateHealthStatus(4);
    journal().answer("datacache_healthstatus_set_property", 9);
    node->updateHealthStatus(3);
    EXPECT_EQ(told, (std::vector<unsigned int>{4, 4}));
}

TEST_F(HealthNode, EndsAnEarlierSubscriptionWhenItSubscribesAgain)
{
    const auto node = make(root + "/a", 2);
    node->RegisterHealthStatusCallback(bus);
    journal().take();
    childReports(root + "/a", root + "/a/x", 3);
    EXPECT_EQ(journal().count("log 7 271 "
                              "hmi_health.#.healthStatusCallbackHandler: "
                              "Health Status Update "),
              1u);
}

TEST(HealthNodeSlots, OverrideNothingButTheDestructors)
{
    EXPECT_EQ(
        (getSlots<sdbusplus::server::com::vexa::olvar::healthmgr::HealthStatus,
                  uint32_t>(&HealthStatus::healthStatus,
                            &HealthStatus::healthStatus,
                            &HealthStatus::healthStatus)),
        (PropertySlots{2, 3, 4}));
}

TEST(ParentKey, IsTheTextBeforeTheLastSlash)
{
    resetPlatform();
    EXPECT_EQ(HealthStatus::GetParentKey(root + "/a/b"), root + "/a");
    EXPECT_EQ(HealthStatus::GetParentKey(root + "/a"), root);
    EXPECT_EQ(HealthStatus::GetParentKey("/a"), "");
    EXPECT_EQ(journal().take(), Lines{});
}

TEST(ParentKey, IsEmptyForTheRoot)
{
    resetPlatform();
    EXPECT_EQ(HealthStatus::GetParentKey(root), "");
    EXPECT_EQ(journal().take(), Lines{});
}

TEST(ParentKey, IsEmptyAndLoggedWithoutASlash)
{
    resetPlatform();
    EXPECT_EQ(HealthStatus::GetParentKey("abc"), "");
    EXPECT_EQ(HealthStatus::GetParentKey(""), "");
    EXPECT_EQ(journal().take(),
              (Lines{"log 1 271 hmi_health.#.GetParentKey: abc Error Parent "
                     "path not found ",
                     "log 1 271 hmi_health.#.GetParentKey:  Error Parent path "
                     "not found "}));
}

class HealthRecords : public testing::Test
{
  protected:
    HealthRecords()
    {
        resetPlatform();
    }

    static void have(const Lines& paths)
    {
        for (const auto& path : paths)
        {
            platform().healthRecords[path] = {{"HealthStatus", 2u}};
        }
    }

    static Lines listChildren(const std::string& key)
    {
        std::vector<HealthStatus::Record> records;
        EXPECT_EQ(HealthStatus::GetImmediateChildHealthStatus(key, records), 0);
        Lines paths;
        for (const auto& [path, record] : records)
        {
            paths.push_back(path);
        }
        return paths;
    }
};

TEST_F(HealthRecords, OfTheKeyAndItsChildrenAreRead)
{
    have({"/a/b", "/a/b/c", "/a/b/c/d", "/a/b/x"});
    EXPECT_EQ(listChildren("/a/b"), (Lines{"/a/b", "/a/b/c", "/a/b/x"}));
    EXPECT_EQ(journal().take(),
              (Lines{"log 7 271 hmi_health.#.GetImmediateChildHealthStatus: "
                     "Entry path:/a/b",
                     "HealthStatus.get_map_by_path_prefixes [] ['/a/b']",
                     "log 7 271 hmi_health.#.GetImmediateChildHealthStatus: "
                     "inserting same : /a/b",
                     "log 7 271 hmi_health.#.GetImmediateChildHealthStatus: "
                     "Child Found : /a/b/c",
                     "log 7 271 hmi_health.#.GetImmediateChildHealthStatus: "
                     "Child Found : /a/b/x"}));
}

TEST_F(HealthRecords, CountAsChildrenForAnyTextAfterTheKey)
{
    have({"/a/bc", "/a/b2/x", "/a/b/c/d"});
    EXPECT_EQ(listChildren("/a/b"), (Lines{"/a/bc"}));
}

TEST_F(HealthRecords, AreAppendedToTheCallersList)
{
    have({"/a/b"});
    std::vector<HealthStatus::Record> records{{"/before", {}}};
    HealthStatus::GetImmediateChildHealthStatus("/a/b", records);
    EXPECT_EQ(records.size(), 2u);
    EXPECT_EQ(records[1].second.healthStatus(), 2u);
}

TEST_F(HealthRecords, ThatAreNoneAreASuccess)
{
    EXPECT_EQ(listChildren("/a/b"), Lines{});
    EXPECT_EQ(journal().lines().back(),
              "log 7 271 hmi_health.#.GetImmediateChildHealthStatus: No "
              "entries available, returning success");
}

TEST_F(HealthRecords, ThatCannotBeReadGiveTheCachesError)
{
    journal().answer("HealthStatus.get_map_by_path_prefixes", 12);
    std::vector<HealthStatus::Record> records;
    EXPECT_EQ(HealthStatus::GetImmediateChildHealthStatus("/a/b", records), 12);
    EXPECT_EQ(journal().lines().back(),
              "log 2 271 hmi_health.#.GetImmediateChildHealthStatus: Error in "
              "fetching from data cache 12");
}

TEST_F(HealthRecords, ExistByTheirWholePath)
{
    have({"/a/b", "/a/bc"});
    EXPECT_TRUE(HealthStatus::CheckHealthStatusExist("/a/b"));
    EXPECT_EQ(journal().take(),
              (Lines{"log 7 271 hmi_health.#.CheckHealthStatusExist: Entry "
                     "path:/a/b",
                     "datacache_healthstatus_exists '/a/b'"}));
    EXPECT_FALSE(HealthStatus::CheckHealthStatusExist("/a"))
        << "only its descendant has a record";
    EXPECT_FALSE(HealthStatus::CheckHealthStatusExist("/a/b/c"));
    EXPECT_EQ(journal().count("log 2"), 0) << "it is no failure";
}

TEST_F(HealthRecords, ExistAboveTheRootWithoutALookUp)
{
    EXPECT_TRUE(HealthStatus::CheckHealthStatusExist("/com/vexa/olvar"));
    EXPECT_EQ(journal().take(),
              Lines{"log 7 271 hmi_health.#.CheckHealthStatusExist: Entry "
                    "path:/com/vexa/olvar"});
}

TEST_F(HealthRecords, DoNotExistWhenTheyCannotBeRead)
{
    have({"/a"});
    for (const int answer : {12, 256})
    {
        journal().answer("datacache_healthstatus_exists", answer);
        EXPECT_FALSE(HealthStatus::CheckHealthStatusExist("/a"));
        EXPECT_EQ(journal().lines().back(),
                  "log 2 271 hmi_health.#.CheckHealthStatusExist: Error in "
                  "fetching from data cache " +
                      std::to_string(answer));
    }
}

TEST_F(HealthRecords, NameTheMissingParents)
{
    have({root + "/a/b", root + "/a/c", root + "/x", root + "/y/z", root + "/y",
          root, "/top"});
    Lines parents{"before"};
    HealthStatus::GetMissingParents(parents);
    EXPECT_EQ(parents, (Lines{root + "/a", root + "/a"}))
        << "once for each child; neither the root nor what is above it";
    EXPECT_EQ(journal().take(),
              (Lines{"HealthStatus.get_map_by_path_prefixes [] []",
                     "log 5 271 hmi_health.#.GetMissingParents: Pushing "
                     "/com/vexa/olvar/health/a to output",
                     "log 5 271 hmi_health.#.GetMissingParents: Pushing "
                     "/com/vexa/olvar/health/a to output"}));
}

TEST_F(HealthRecords, NameNoMissingParentsWhenTheyCannotBeRead)
{
    have({root + "/a/b"});
    journal().answer("HealthStatus.get_map_by_path_prefixes", 3);
    Lines parents{"before"};
    HealthStatus::GetMissingParents(parents);
    EXPECT_EQ(parents, Lines{});
    EXPECT_EQ(journal().lines().back(),
              "log 2 271 hmi_health.#.GetMissingParents: Error in fetching "
              "from data cache 3");
}

} // namespace
} // namespace health_namespace
