// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <watch/change_line.hpp>
#include <watch/note_change.hpp>

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

TEST(ChangeLine, DescribesAnAcknowledgementThatIsGivenAndWithdrawn)
{
    WatchedTree tree;
    WatchedFault fault;
    fault.properties.messageID = "FanSlow";
    const std::string path = key + "/entry/Fault_1";
    tree.addFault(path, fault);
    host::Members told{{"Fault", path},
                       {"Time", int64_t{0}},
                       {"User", uint32_t{0}},
                       {"Comment", std::string("Olga looks")}};
    const nlohmann::json given =
        toJson(makeNoteChanges(Change::Kind::acknowledged, told, tree).at(0));
    EXPECT_EQ(given["change"], "acknowledged");
    EXPECT_EQ(given["component"], key);
    EXPECT_EQ(given["path"], path);
    EXPECT_EQ(given["fault"]["messageId"], "FanSlow");
    EXPECT_EQ(given["acknowledgement"]["user"], "root");
    EXPECT_EQ(given["acknowledgement"]["comment"], "Olga looks");
    EXPECT_FALSE(given.contains("user"));
    told["WithdrawnBy"] = uint32_t{0};
    const nlohmann::json withdrawn =
        toJson(makeNoteChanges(Change::Kind::withdrawn, told, tree).at(0));
    EXPECT_EQ(withdrawn["change"], "withdrawn");
    EXPECT_EQ(withdrawn["acknowledgement"]["comment"], "Olga looks");
    EXPECT_EQ(withdrawn["uid"], 0);
    EXPECT_EQ(withdrawn["user"], "root");
}

TEST(ChangeLine, DescribesASilenceThatBeginsAndEnds)
{
    host::Members told{{"Id", uint64_t{3}}, {"Component", key}};
    const nlohmann::json begins =
        toJson(makeNoteChanges(Change::Kind::silenced, told, {}).at(0));
    EXPECT_EQ(begins["change"], "silenced");
    EXPECT_EQ(begins["components"], nlohmann::json::array({key}));
    EXPECT_EQ(begins["silence"]["id"], 3);
    EXPECT_EQ(begins["silence"]["component"], key);
    const auto end = [&told] {
        return nlohmann::json(toJson(
            makeNoteChanges(Change::Kind::silenceEnded, told, {}).at(0)));
    };
    EXPECT_EQ(end()["change"], "silence-ended");
    EXPECT_TRUE(end()["user"].is_null()) << "its time had come";
    told["EndedBy"] = uint32_t{0};
    EXPECT_EQ(end()["user"], "root");
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
