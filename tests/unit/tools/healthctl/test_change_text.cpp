// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>
#include <watch/change_text.hpp>

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
