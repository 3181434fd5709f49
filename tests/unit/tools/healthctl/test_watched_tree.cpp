// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <watch/watched_tree.hpp>

namespace healthintf::healthctl
{
namespace
{

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

using Kind = Change::Kind;

std::vector<Kind> listKinds(const Changes& changes)
{
    std::vector<Kind> kinds;
    for (const Change& change : changes)
    {
        kinds.push_back(change.kind);
    }
    return kinds;
}

WatchedFault makeFault(const std::string& id, bool hidden = false,
                       const std::string& connection = "")
{
    WatchedFault fault;
    fault.properties.messageID = id;
    fault.properties.hidden = hidden;
    fault.connection = connection;
    return fault;
}

Node makeNode(uint32_t health, const std::string& connection = "")
{
    return {health, "", connection};
}

TEST(WatchedTree, ReportsOnlyChangesOfHealth)
{
    WatchedTree tree;
    EXPECT_THAT(listKinds(tree.addNode("/a", makeNode(2))),
                ElementsAre(Kind::nodeAdded));
    EXPECT_THAT(tree.setHealth("/a", 2), IsEmpty());
    const Changes changes = tree.setHealth("/a", 4);
    ASSERT_THAT(changes, SizeIs(1));
    EXPECT_EQ(changes[0].kind, Kind::health);
    EXPECT_EQ(changes[0].path, "/a");
    EXPECT_EQ(changes[0].before, 2);
    EXPECT_EQ(changes[0].now, 4);
}

TEST(WatchedTree, ReportsEachFaultOnce)
{
    WatchedTree tree;
    EXPECT_THAT(listKinds(tree.addFault("/a/entry/1", makeFault("X"))),
                ElementsAre(Kind::faultAdded));
    EXPECT_THAT(tree.addFault("/a/entry/1", makeFault("X")), IsEmpty());
    const Changes changes = tree.removeFault("/a/entry/1");
    ASSERT_THAT(changes, SizeIs(1));
    EXPECT_EQ(changes[0].kind, Kind::faultRemoved);
    EXPECT_EQ(changes[0].fault->messageID, "X");
    EXPECT_THAT(tree.removeFault("/a/entry/1"), IsEmpty());
}

TEST(WatchedTree, ReportsWhenAKnownFaultIsHiddenAndShown)
{
    WatchedTree tree;
    EXPECT_THAT(tree.setHidden("/a/entry/1", true), IsEmpty());
    tree.addFault("/a/entry/1", makeFault("X"));
    EXPECT_THAT(tree.setHidden("/a/entry/1", false), IsEmpty());
    const Changes changes = tree.setHidden("/a/entry/1", true);
    ASSERT_THAT(changes, SizeIs(1));
    EXPECT_EQ(changes[0].kind, Kind::faultHidden);
    EXPECT_TRUE(changes[0].fault->hidden);
    EXPECT_THAT(listKinds(tree.setHidden("/a/entry/1", false)),
                ElementsAre(Kind::faultShown));
}

TEST(WatchedTree, TakesOverTheInitialState)
{
    WatchedTree tree;
    tree.addNode("/gone", makeNode(2));
    tree.addNode("/worse", makeNode(2));
    tree.addFault("/gone/entry/1", makeFault("G"));
    tree.addFault("/worse/entry/1", makeFault("H"));
    const Changes changes =
        tree.takeOver({{"/new", makeNode(2)}, {"/worse", makeNode(4)}},
                      {{"/worse/entry/1", makeFault("H", true)},
                       {"/new/entry/1", makeFault("N", true)}});
    EXPECT_THAT(listKinds(changes),
                ElementsAre(Kind::faultRemoved, Kind::nodeRemoved,
                            Kind::nodeAdded, Kind::health, Kind::faultAdded,
                            Kind::faultHidden));
    EXPECT_EQ(changes[1].path, "/gone");
    EXPECT_EQ(changes[1].before, 2);
    EXPECT_EQ(changes[1].now, std::nullopt);
    EXPECT_TRUE(changes[4].fault->hidden);
}

TEST(WatchedTree, ReportsNothingWhenItKnewEverything)
{
    WatchedTree tree;
    const Nodes nodes{{"/a", makeNode(3)}};
    const WatchedTree::Faults faults{{"/a/entry/1", makeFault("X", true)}};
    tree.takeOver(nodes, faults);
    EXPECT_THAT(tree.takeOver(nodes, faults), IsEmpty());
    EXPECT_THAT(tree.nodes(), SizeIs(1));
}

TEST(WatchedTree, AddsNoNodeThatIsKnownByAReportOnly)
{
    WatchedTree tree;
    EXPECT_THAT(tree.setHealth("/a", 4), IsEmpty());
    EXPECT_THAT(tree.nodes(), IsEmpty());
}

TEST(WatchedTree, KeepsTheObjectsOfASilentProcess)
{
    WatchedTree tree;
    tree.takeOver({{"/a", makeNode(3, ":1.1")}, {"/b", makeNode(2, ":1.2")}},
                  {{"/a/entry/1", makeFault("X", false, ":1.1")}});
    const Changes silent = tree.takeOver({}, {}, {{":1.1", "fan[1]"}});
    EXPECT_THAT(listKinds(silent),
                ElementsAre(Kind::nodeRemoved, Kind::processSilent));
    EXPECT_EQ(silent[0].path, "/b");
    EXPECT_EQ(silent[1].path, "fan[1]");
    EXPECT_THAT(silent[1].components, ElementsAre("/a"));
    EXPECT_TRUE(tree.nodes().at("/a").silent);
    EXPECT_THAT(tree.takeOver({}, {}, {{":1.1", "fan[1]"}}), IsEmpty());

    // The process has left the bus.
    EXPECT_THAT(listKinds(tree.takeOver({}, {})),
                ElementsAre(Kind::processSilentEnded, Kind::faultRemoved,
                            Kind::nodeRemoved));
}

TEST(WatchedTree, KeepsAnAnnouncedFaultOfASilentProcess)
{
    WatchedTree tree;
    tree.addFault("/a/entry/1", makeFault("X", false, ":1.1"));
    tree.takeOver({}, {}, {{":1.1", "fan[1]"}});
    EXPECT_THAT(tree.faults(), SizeIs(1));
}

TEST(WatchedTree, GivesASilentProcesssKeyToAnAnsweringOne)
{
    WatchedTree tree;
    tree.addNode("/a", makeNode(3, ":1.1"));
    tree.takeOver({{"/a", makeNode(2, ":1.2")}}, {}, {{":1.1", "fan[1]"}});
    EXPECT_EQ(tree.nodes().at("/a").health, 2);
    EXPECT_FALSE(tree.nodes().at("/a").silent);
}

} // namespace
} // namespace healthintf::healthctl
