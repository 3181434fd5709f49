#include "told_nodes.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

namespace
{

using healthintf::healthmgr::ToldNodes;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;
using testing::SizeIs;

class ToldNodesTest : public testing::Test
{
  protected:
    ToldNodes nodes;
};

TEST_F(ToldNodesTest, MeetsAConnectionOnce)
{
    EXPECT_TRUE(nodes.meet(":1.1"));
    EXPECT_FALSE(nodes.meet(":1.1"));
    EXPECT_TRUE(nodes.meet(":1.2"));
}

TEST_F(ToldNodesTest, MeetsAConnectionAgainThatWasForgotten)
{
    nodes.meet(":1.1");
    nodes.take(":1.1");

    EXPECT_TRUE(nodes.meet(":1.1"));
}

TEST_F(ToldNodesTest, KeepsWhatWasToldLast)
{
    nodes.note(":1.1", "/a", 2);
    nodes.note(":1.1", "/b", 2);
    nodes.note(":1.1", "/a", 4);

    EXPECT_THAT(nodes.take(":1.1"), ElementsAre(Pair("/a", 4), Pair("/b", 2)));
}

TEST_F(ToldNodesTest, KeepsConnectionsApart)
{
    nodes.note(":1.1", "/a", 2);
    nodes.note(":1.2", "/a", 4);

    EXPECT_THAT(nodes.take(":1.1"), ElementsAre(Pair("/a", 2)));
    EXPECT_THAT(nodes.take(":1.2"), ElementsAre(Pair("/a", 4)));
}

TEST_F(ToldNodesTest, HasNothingOfAConnectionThatToldNothing)
{
    EXPECT_THAT(nodes.take(":1.1"), IsEmpty());
}

TEST_F(ToldNodesTest, DropsANodeThatHasEnded)
{
    nodes.note(":1.1", "/a", 2);
    nodes.note(":1.1", "/a", 0);

    EXPECT_THAT(nodes.take(":1.1"), IsEmpty());
}

TEST_F(ToldNodesTest, ForgetsANodeOfEveryConnection)
{
    nodes.note(":1.1", "/a", 2);
    nodes.note(":1.2", "/a", 3);
    nodes.note(":1.2", "/b", 4);
    nodes.forget("/a");

    EXPECT_THAT(nodes.take(":1.1"), IsEmpty());
    EXPECT_THAT(nodes.take(":1.2"), ElementsAre(Pair("/b", 4)));
}

class FullToldNodes : public ToldNodesTest
{
  protected:
    void SetUp() override
    {
        for (std::size_t number = 0; number < ToldNodes::most; ++number)
        {
            nodes.note(":1.1", "/n" + std::to_string(number), 2);
        }
    }
};

TEST_F(FullToldNodes, TakesNoFurtherNode)
{
    nodes.note(":1.1", "/further", 2);

    const auto told = nodes.take(":1.1");
    EXPECT_THAT(told, SizeIs(ToldNodes::most));
    EXPECT_FALSE(told.contains("/further"));
}

TEST_F(FullToldNodes, StillTakesANewHealthOfANodeItHas)
{
    nodes.note(":1.1", "/n0", 4);

    EXPECT_EQ(nodes.take(":1.1").at("/n0"), 4);
}

TEST_F(FullToldNodes, TakesOneForEachThatHasEnded)
{
    nodes.note(":1.1", "/n0", 0);
    nodes.note(":1.1", "/further", 2);

    EXPECT_TRUE(nodes.take(":1.1").contains("/further"));
}

TEST_F(FullToldNodes, TakesNodesOfAnotherConnection)
{
    nodes.note(":1.2", "/further", 2);

    EXPECT_THAT(nodes.take(":1.2"), ElementsAre(Pair("/further", 2)));
}

} // namespace
