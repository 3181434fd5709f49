// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>
#include <watch/change_text.hpp>
#include <watch/note_change.hpp>

namespace healthintf::healthctl
{
namespace
{

const std::string key = "/com/vexa/olvar/health/a";

/** The only one of some changes, in words. */
std::string describe(const Changes& changes)
{
    const ChangeText text = describeChange(changes.at(0));
    return text.word + ": " + text.text;
}

TEST(ChangeText, DescribesTheChangeOfANodesHealth)
{
    WatchedTree tree;
    EXPECT_EQ(describe(tree.addNode(key, {2, ""})), "OK: a  is new");
    EXPECT_EQ(describe(tree.setHealth(key, 4)), "critical: a  was OK");
    EXPECT_EQ(describe(tree.takeOver({}, {})), "gone: a  was critical");
}

TEST(ChangeText, DescribesTheChangeOfAFault)
{
    WatchedTree tree;
    WatchedFault fault;
    fault.properties.message = "It is slow.";
    fault.properties.severity = 3;
    const std::string path = key + "/entry/Fault_1";
    EXPECT_EQ(describe(tree.addFault(path, fault)),
              "warning: a  fault: It is slow.");
    EXPECT_EQ(describe(tree.setHidden(path, true)),
              "warning: a  fault hidden: It is slow.");
    EXPECT_EQ(describe(tree.setHidden(path, false)),
              "warning: a  fault shown: It is slow.");
    EXPECT_EQ(describe(tree.removeFault(path)),
              "warning: a  fault gone: It is slow.");
    fault.properties.fqdd = "HealthManager.Trial";
    EXPECT_EQ(describe(tree.addFault(path, fault)),
              "warning: a  fault: It is slow. (trial)");
}

TEST(ChangeText, NamesASilentProcessAndItsComponents)
{
    WatchedTree tree;
    tree.addNode(key, {2, "fan[7]", ":1.7"});
    tree.addNode(key + "/b", {2, "fan[7]", ":1.7"});
    EXPECT_EQ(describe(tree.takeOver({}, {}, {{":1.7", "fan[7]"}})),
              "silent: fan[7]  does not answer; it holds a, a/b");
    EXPECT_EQ(describe(tree.takeOver({}, {})),
              "answers: fan[7]  answers again, or is gone; it holds a, a/b");
    WatchedTree unknown;
    EXPECT_EQ(describe(unknown.takeOver({}, {}, {{":1.9", "disk[9]"}})),
              "silent: disk[9]  does not answer");
}

TEST(ChangeText, DescribesAnAcknowledgementThatIsGivenAndWithdrawn)
{
    WatchedTree tree;
    WatchedFault fault;
    fault.properties.message = "It is slow.";
    fault.properties.severity = 3;
    const std::string path = key + "/entry/Fault_1";
    tree.addFault(path, fault);
    host::Members told{{"Fault", path},
                       {"User", uint32_t{0}},
                       {"Comment", std::string("Olga looks")}};
    EXPECT_EQ(describe(makeNoteChanges(Change::Kind::acknowledged, told, tree)),
              "warning: a  acknowledged by root (Olga looks): It is slow.");
    told["WithdrawnBy"] = uint32_t{0};
    EXPECT_EQ(describe(makeNoteChanges(Change::Kind::withdrawn, told, tree)),
              "warning: a  acknowledgement withdrawn by root: It is slow.");
}

TEST(ChangeText, DescribesASilenceThatBeginsAndEnds)
{
    host::Members told{{"Id", uint64_t{3}},
                       {"Component", key},
                       {"User", uint32_t{0}},
                       {"Comment", std::string("a new fan comes")}};
    const std::string begins =
        describe(makeNoteChanges(Change::Kind::silenced, told, {}));
    EXPECT_TRUE(begins.starts_with("silenced: a  silence 3 until ")) << begins;
    EXPECT_TRUE(begins.ends_with(" by root: a new fan comes")) << begins;
    EXPECT_EQ(describe(makeNoteChanges(Change::Kind::silenceEnded, told, {})),
              "ended: a  silence 3 is over");
    told["EndedBy"] = uint32_t{0};
    EXPECT_EQ(describe(makeNoteChanges(Change::Kind::silenceEnded, told, {})),
              "ended: a  silence 3 ended by root");
}

TEST(ChangeText, BeginsWithTheNumbersOfComponentsAndFaults)
{
    WatchedTree tree;
    tree.addNode(key, {2, ""});
    const ChangeText begin = describeBeginning(tree, {});
    EXPECT_EQ(begin.word, "begin");
    EXPECT_EQ(begin.text, "1 component, 0 faults");
}

} // namespace
} // namespace healthintf::healthctl
