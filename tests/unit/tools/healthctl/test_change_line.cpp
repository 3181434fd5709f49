// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <watch/change_line.hpp>

namespace healthintf::healthctl
{
namespace
{

const std::string key = "/com/vexa/olvar/health/a";

TEST(ChangeLine, DescribesTheChangeOfANodesHealth)
{
    WatchedTree tree;
    const nlohmann::json added = toJson(tree.addNode(key, {2, ""}).at(0));
    EXPECT_EQ(added["change"], "node-added");
    EXPECT_TRUE(added["before"].is_null());
    EXPECT_EQ(added["now"], "OK");
    const nlohmann::json changed = toJson(tree.setHealth(key, 4).at(0));
    EXPECT_EQ(changed["change"], "health");
    EXPECT_EQ(changed["component"], key);
    EXPECT_EQ(changed["before"], "OK");
    EXPECT_EQ(changed["now"], "critical");
    const nlohmann::json removed = toJson(tree.takeOver({}, {}).at(0));
    EXPECT_EQ(removed["change"], "node-removed");
    EXPECT_TRUE(removed["now"].is_null());
}

TEST(ChangeLine, DescribesTheChangeOfAFault)
{
    WatchedTree tree;
    WatchedFault fault;
    fault.properties.messageID = "FanSlow";
    fault.properties.severity = 3;
    const std::string path = key + "/entry/Fault_1";
    const nlohmann::json added = toJson(tree.addFault(path, fault).at(0));
    EXPECT_EQ(added["change"], "fault-added");
    EXPECT_EQ(added["component"], key);
    EXPECT_EQ(added["path"], path);
    EXPECT_EQ(added["fault"]["messageId"], "FanSlow");
    EXPECT_EQ(added["fault"]["severity"], "warning");
    EXPECT_EQ(toJson(tree.setHidden(path, true).at(0))["change"],
              "fault-hidden");
    EXPECT_EQ(toJson(tree.setHidden(path, false).at(0))["change"],
              "fault-shown");
    EXPECT_EQ(toJson(tree.removeFault(path).at(0))["change"], "fault-removed");
}

TEST(ChangeLine, NamesASilentProcessAndItsComponents)
{
    WatchedTree tree;
    tree.addNode(key, {2, "fan[7]", ":1.7"});
    const nlohmann::json silent =
        toJson(tree.takeOver({}, {}, {{":1.7", "fan[7]"}}).at(0));
    EXPECT_EQ(silent["change"], "process-silent");
    EXPECT_EQ(silent["process"], "fan[7]");
    EXPECT_EQ(silent["components"], nlohmann::json::array({key}));
    EXPECT_EQ(toJson(tree.takeOver({}, {}).at(0))["change"],
              "process-silent-ended");
}

TEST(ChangeLine, BeginsWithTheNumbersOfComponentsAndFaults)
{
    WatchedTree tree;
    tree.addNode(key, {2, ""});
    const nlohmann::json begin = beginningJson(tree, {});
    EXPECT_EQ(begin["change"], "begin");
    EXPECT_EQ(begin["nodes"], 1);
    EXPECT_EQ(begin["faults"], 0);
    EXPECT_EQ(beginningJson(tree, {.key = "/b", .severities = {}})["nodes"], 0);
}

} // namespace
} // namespace healthintf::healthctl
