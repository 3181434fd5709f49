// SPDX-License-Identifier: Apache-2.0
#include "node_slots.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>
#include <set>
#include <string>

namespace healthintf::healthmgr
{
namespace
{

using std::chrono::minutes;
using std::chrono::seconds;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr uint32_t self = 500;
const std::string root = "/com/vexa/olvar/health";
const Asker somebody{":1.1", 1000};
const Asker other{":1.2", 1001};
const NodeSlots::Clock::time_point start;

class SlotsOfNodes : public testing::Test
{
  protected:
    /** The keys of these names below the root, and the root, which always has a
     *  record. */
    static std::set<std::string> records(const std::set<std::string>& names)
    {
        std::set<std::string> keys{root};
        for (const std::string& name : names)
        {
            keys.insert(root + "/" + name);
        }
        return keys;
    }

    void add(const std::string& name, const std::optional<Asker>& asker)
    {
        slots.add(root + "/" + name, asker);
    }

    std::vector<std::string> idle(const std::set<std::string>& names,
                                  NodeSlots::Clock::duration time)
    {
        return slots.idle(records(names), needed, start + time);
    }

    /** The keys of nodes that stay. */
    std::set<std::string> needed;

    NodeSlots slots{{.nodes = 8, .ofOneUser = 2}, self};
};

TEST_F(SlotsOfNodes, GiveEachUserALimitedShare)
{
    EXPECT_TRUE(slots.hasRoom(somebody, 2));
    EXPECT_FALSE(slots.hasRoom(somebody, 3));
    add("a", somebody);
    EXPECT_TRUE(slots.hasRoom(somebody, 1));
    EXPECT_FALSE(slots.hasRoom(somebody, 2));
    add("a/b", somebody);
    EXPECT_FALSE(slots.hasRoom(somebody, 1));
    EXPECT_FALSE(slots.hasRoom({":1.9", somebody.user}, 1))
        << "another connection of the same user";
    EXPECT_TRUE(slots.hasRoom(other, 2));
}

TEST_F(SlotsOfNodes, AreRefusedToUsersWhenAllAreTaken)
{
    for (const char* name : {"a", "b", "c", "d", "e", "f", "g"})
    {
        add(name, std::nullopt);
    }
    EXPECT_TRUE(slots.hasRoom(somebody, 1));
    EXPECT_FALSE(slots.hasRoom(somebody, 2));
    add("h", std::nullopt);
    EXPECT_FALSE(slots.hasRoom(somebody, 1));
    EXPECT_TRUE(slots.hasRoom({":1.3", 0}, 1)) << "root";
    EXPECT_TRUE(slots.hasRoom({":1.4", self}, 1)) << "the service";
}

TEST_F(SlotsOfNodes, LimitNeitherRootNorTheService)
{
    EXPECT_TRUE(slots.hasRoom({":1.3", 0}, 100));
    EXPECT_TRUE(slots.hasRoom({":1.4", self}, 100));
}

TEST_F(SlotsOfNodes, AreAQuarterForOneUser)
{
    EXPECT_EQ(NodeSlots::Bounds().nodes, 1360U);
    EXPECT_EQ(NodeSlots::Bounds().ofOneUser, 340U);
}

TEST_F(SlotsOfNodes, AreFreeAgainWhenANodeIsRemoved)
{
    add("a", somebody);
    add("b", somebody);
    slots.remove(root + "/a");
    EXPECT_TRUE(slots.hasRoom(somebody, 1));
}

TEST_F(SlotsOfNodes, EndAMinuteAfterRequesterAndChildrenHaveGone)
{
    add("a", somebody);
    add("a/b", somebody);
    slots.forget(somebody.name);
    EXPECT_THAT(idle({"a", "a/b"}, seconds(0)), IsEmpty());
    EXPECT_THAT(idle({"a", "a/b"}, seconds(59)), IsEmpty());
    EXPECT_THAT(idle({"a", "a/b"}, seconds(60)),
                ElementsAre(root + "/a/b", root + "/a"))
        << "children first";
}

TEST_F(SlotsOfNodes, StayWhileTheirRequesterRuns)
{
    add("a", somebody);
    add("a/b", somebody);
    add("c", other);
    slots.forget(other.name);
    idle({"a", "a/b", "c"}, seconds(0));
    EXPECT_THAT(idle({"a", "a/b", "c"}, minutes(2)), ElementsAre(root + "/c"));
    slots.remove(root + "/c");
    slots.forget(somebody.name);
    EXPECT_THAT(idle({"a", "a/b"}, minutes(2)), IsEmpty())
        << "the minute begins when the requester leaves the bus";
}

TEST_F(SlotsOfNodes, StayWhileADescendantIsKept)
{
    add("a", somebody);
    add("a/b", other);
    slots.forget(somebody.name);
    idle({"a", "a/b"}, seconds(0));
    EXPECT_THAT(idle({"a", "a/b"}, minutes(2)), IsEmpty());
}

TEST_F(SlotsOfNodes, DoNotCountForTheUserOnceTheyHaveChildren)
{
    add("a", somebody);
    add("b", somebody);
    EXPECT_FALSE(slots.hasRoom(somebody, 1));
    slots.forget(somebody.name);
    idle({"a", "a/deep/child", "b"}, seconds(0));
    EXPECT_TRUE(slots.hasRoom(somebody, 1)) << "one requester is gone";
    EXPECT_FALSE(slots.hasRoom(somebody, 2));
    EXPECT_THAT(idle({"a", "a/deep/child", "b"}, minutes(2)),
                ElementsAre(root + "/b"));
}

TEST_F(SlotsOfNodes, EndAMinuteAfterTheirLastChild)
{
    add("a", std::nullopt);
    idle({"a", "a/b"}, minutes(5));
    EXPECT_THAT(idle({"a"}, minutes(6)), IsEmpty());
    idle({"a", "a/b"}, minutes(6) + seconds(30));
    EXPECT_THAT(idle({"a"}, minutes(7)), IsEmpty());
    EXPECT_THAT(idle({"a"}, minutes(7) + seconds(59)), IsEmpty());
    EXPECT_THAT(idle({"a"}, minutes(8)), ElementsAre(root + "/a"));
}

TEST_F(SlotsOfNodes, AreNotKeptByKeysWithTheSamePrefix)
{
    add("a", std::nullopt);
    idle({"a", "ab/c"}, seconds(0));
    EXPECT_THAT(idle({"a", "ab/c"}, minutes(1)), ElementsAre(root + "/a"));
}

TEST_F(SlotsOfNodes, AreKeptForTheRequesterWhileADaemonHoldsTheNode)
{
    add("a", somebody);
    add("a/b", somebody);
    slots.lend(root + "/a/b");
    slots.lend(root + "/no/slot");
    EXPECT_THAT(slots.lent(), ElementsAre(root + "/a/b"));
    EXPECT_FALSE(slots.hasRoom(somebody, 1)) << "both still count";
    EXPECT_TRUE(slots.hasAsker(root + "/a/b"));
    EXPECT_FALSE(slots.hasAsker(root + "/no/slot"));
    slots.forget(somebody.name);
    EXPECT_FALSE(slots.hasAsker(root + "/a/b"));
    idle({"a", "a/b"}, seconds(0));
    EXPECT_THAT(idle({"a", "a/b"}, minutes(2)), ElementsAre(root + "/a/b"))
        << "a is kept: the daemon at a/b needs it";
    EXPECT_TRUE(slots.takeBack(root + "/a/b"));
    EXPECT_THAT(slots.lent(), IsEmpty());
    EXPECT_FALSE(slots.takeBack(root + "/a/b"));
    EXPECT_FALSE(slots.takeBack(root + "/no/slot"));
}

TEST_F(SlotsOfNodes, StayLentWhenTheyNoLongerCount)
{
    add("a", somebody);
    slots.lend(root + "/a");
    idle({"a", "a/b"}, seconds(0));
    EXPECT_TRUE(slots.takeBack(root + "/a"));
}

TEST_F(SlotsOfNodes, KeepWhatIsNeededWithTheNodesAboveIt)
{
    add("a", std::nullopt);
    add("a/b", std::nullopt);
    add("c", std::nullopt);
    needed = {root + "/a/b"};
    EXPECT_THAT(idle({"a", "a/b", "c"}, seconds(0)), IsEmpty());
    EXPECT_THAT(idle({"a", "a/b", "c"}, seconds(60)), ElementsAre(root + "/c"));
    slots.remove(root + "/c");
    needed.clear();
    EXPECT_THAT(idle({"a", "a/b"}, seconds(60)), IsEmpty());
    EXPECT_THAT(idle({"a", "a/b"}, seconds(120)),
                ElementsAre(root + "/a/b", root + "/a"));
}

} // namespace
} // namespace healthintf::healthmgr
