// SPDX-License-Identifier: Apache-2.0
#include "reported_health.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

namespace healthintf::healthmgr
{
namespace
{

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;
using testing::SizeIs;

class HealthThatWasReported : public testing::Test
{
  protected:
    ReportedHealth reported;
};

TEST_F(HealthThatWasReported, KnowsEachConnectionAfterItsFirstReport)
{
    EXPECT_TRUE(reported.meet(":1.1"));
    EXPECT_FALSE(reported.meet(":1.1"));
    EXPECT_TRUE(reported.meet(":1.2"));
}

TEST_F(HealthThatWasReported, TakesAForgottenConnectionForNew)
{
    reported.meet(":1.1");
    reported.take(":1.1");

    EXPECT_TRUE(reported.meet(":1.1"));
}

TEST_F(HealthThatWasReported, IsTheLastReportOfANode)
{
    reported.note(":1.1", "/a", 2);
    reported.note(":1.1", "/b", 2);
    reported.note(":1.1", "/a", 4);

    EXPECT_THAT(reported.take(":1.1"),
                ElementsAre(Pair("/a", 4), Pair("/b", 2)));
}

TEST_F(HealthThatWasReported, NamesTheNodesThatAreMissing)
{
    reported.note(":1.1", "/a", 2);
    reported.note(":1.2", "/b", 2);
    reported.note(":1.2", "/c", 2);
    reported.note(":1.2", "/c", 0);
    reported.note(":1.2", "/d", 2);
    EXPECT_THAT(reported.findUnrecorded([](const std::string& key) {
        return key == "/d" || key == "/e";
    }),
                ElementsAre("/a", "/b"));
}

TEST_F(HealthThatWasReported, MayDifferFromTheKnownHealth)
{
    reported.note(":1.1", "/a", 2);
    reported.note(":1.1", "/b", 3);
    reported.note(":1.1", "/c", 4);
    reported.note(":1.2", "/c", 2);
    EXPECT_THAT(reported.differingFrom({{"/a", 2}, {"/c", 2}}),
                ElementsAre(Pair("/c", 4)));
    EXPECT_THAT(reported.differingFrom({{"/c", 4}}),
                ElementsAre(Pair("/c", 2)));
}

TEST_F(HealthThatWasReported, IsKeptApartForEachConnection)
{
    reported.note(":1.1", "/a", 2);
    reported.note(":1.2", "/a", 4);

    EXPECT_THAT(reported.take(":1.1"), ElementsAre(Pair("/a", 2)));
    EXPECT_THAT(reported.take(":1.2"), ElementsAre(Pair("/a", 4)));
}

TEST_F(HealthThatWasReported, IsEmptyForAnUnknownConnection)
{
    EXPECT_THAT(reported.take(":1.1"), IsEmpty());
    EXPECT_THAT(reported.setUser(":1.1", 7), IsEmpty());
    EXPECT_FALSE(reported.beginQuestion(":1.1"));
    EXPECT_THAT(reported.endQuestion(":1.1"), IsEmpty());
}

TEST_F(HealthThatWasReported, IsForgottenForEveryConnection)
{
    reported.note(":1.1", "/a", 2);
    reported.note(":1.2", "/a", 3);
    reported.note(":1.2", "/b", 4);
    reported.forget("/a");

    EXPECT_THAT(reported.take(":1.1"), IsEmpty());
    EXPECT_THAT(reported.take(":1.2"), ElementsAre(Pair("/b", 4)));
}

TEST_F(HealthThatWasReported, StartsOneQuestionAtATimeAboutEndedNodes)
{
    reported.note(":1.1", "/a", 2);
    EXPECT_FALSE(reported.beginQuestion(":1.1")) << "nothing has ended";
    reported.note(":1.1", "/a", 0);
    EXPECT_TRUE(reported.beginQuestion(":1.1"));
    reported.note(":1.1", "/b", 0);
    EXPECT_FALSE(reported.beginQuestion(":1.1")) << "one is outstanding";

    EXPECT_THAT(reported.endQuestion(":1.1"), ElementsAre("/a"));
    EXPECT_TRUE(reported.beginQuestion(":1.1"));
    EXPECT_THAT(reported.endQuestion(":1.1"), ElementsAre("/b"));
    EXPECT_FALSE(reported.beginQuestion(":1.1"));
    EXPECT_THAT(reported.take(":1.1"), IsEmpty());
}

TEST_F(HealthThatWasReported, KeepsEndsThatWereNotAnswered)
{
    reported.note(":1.1", "/asked", 0);
    reported.beginQuestion(":1.1");
    reported.note(":1.1", "/ended", 0);

    EXPECT_THAT(reported.take(":1.1"),
                ElementsAre(Pair("/asked", 0), Pair("/ended", 0)));
    EXPECT_THAT(reported.endQuestion(":1.1"), IsEmpty());
}

TEST_F(HealthThatWasReported, OfARecreatedNodeIsKeptBesideItsEnd)
{
    reported.note(":1.1", "/a", 0);
    reported.note(":1.1", "/a", 3);
    EXPECT_TRUE(reported.beginQuestion(":1.1"));
    EXPECT_THAT(reported.endQuestion(":1.1"), ElementsAre("/a"));
    EXPECT_THAT(reported.take(":1.1"), ElementsAre(Pair("/a", 3)));
}

/** Limits reports to two keys of two bytes for a connection and to three for a
 *  user. */
class BoundedReports : public testing::Test
{
  protected:
    static constexpr std::size_t one = ReportedHealth::overhead + 2;

    ReportedHealth reported{{.connection = 2 * one, .user = 3 * one}};
};

TEST_F(BoundedReports, TakeNoFurtherNodeOfAFullConnection)
{
    EXPECT_TRUE(reported.note(":1.1", "/a", 2));
    EXPECT_TRUE(reported.note(":1.1", "/b", 2));
    EXPECT_FALSE(reported.note(":1.1", "/c", 2));
    EXPECT_FALSE(reported.note(":1.1", "/c", 0)) << "an end takes room, too";
    EXPECT_THAT(reported.take(":1.1"), SizeIs(2));
}

TEST_F(BoundedReports, CountTheBytesOfKeys)
{
    EXPECT_TRUE(reported.note(":1.1", "/a", 2));
    EXPECT_FALSE(reported.note(":1.1", "/bb", 2));
    EXPECT_TRUE(reported.note(":1.1", "/b", 2));
}

TEST_F(BoundedReports, AcceptANewHealthOfAKnownNode)
{
    reported.note(":1.1", "/a", 2);
    reported.note(":1.1", "/b", 2);
    EXPECT_TRUE(reported.note(":1.1", "/a", 4));
    EXPECT_THAT(reported.take(":1.1"),
                ElementsAre(Pair("/a", 4), Pair("/b", 2)));
}

TEST_F(BoundedReports, AcceptTheEndsOfKnownNodes)
{
    reported.note(":1.1", "/a", 2);
    reported.note(":1.1", "/b", 2);
    EXPECT_TRUE(reported.note(":1.1", "/a", 0));
    EXPECT_TRUE(reported.note(":1.1", "/a", 0)) << "once more";
}

TEST_F(BoundedReports, HaveRoomAgainOnceAnEndIsAnswered)
{
    reported.note(":1.1", "/a", 0);
    reported.note(":1.1", "/b", 0);
    reported.beginQuestion(":1.1");
    EXPECT_FALSE(reported.note(":1.1", "/c", 2));
    reported.endQuestion(":1.1");
    EXPECT_TRUE(reported.note(":1.1", "/c", 2));
    EXPECT_TRUE(reported.note(":1.1", "/d", 2));
    EXPECT_FALSE(reported.note(":1.1", "/e", 2));
}

TEST_F(BoundedReports, HaveRoomAgainOnceAConnectionIsForgotten)
{
    reported.note(":1.1", "/a", 2);
    reported.note(":1.1", "/b", 2);
    reported.forget("/a");
    EXPECT_TRUE(reported.note(":1.1", "/c", 2));
    EXPECT_FALSE(reported.note(":1.1", "/d", 2));
}

TEST_F(BoundedReports, AreBoundedForAllConnectionsOfAUser)
{
    for (const char* sender : {":1.1", ":1.2", ":1.3"})
    {
        reported.meet(sender);
        EXPECT_THAT(reported.setUser(sender, 7), IsEmpty());
    }
    reported.meet(":1.4");
    reported.setUser(":1.4", 8);
    EXPECT_TRUE(reported.note(":1.1", "/a", 2));
    EXPECT_TRUE(reported.note(":1.2", "/a", 2));
    EXPECT_TRUE(reported.note(":1.3", "/a", 2));
    EXPECT_FALSE(reported.note(":1.3", "/b", 2));
    EXPECT_TRUE(reported.note(":1.4", "/a", 2)) << "another user's";
    reported.take(":1.1");
    EXPECT_TRUE(reported.note(":1.3", "/b", 2)) << "one is gone";
    EXPECT_FALSE(reported.note(":1.2", "/b", 2));
}

TEST_F(BoundedReports, AreBoundedForConnectionsOfUnknownUsersTogether)
{
    EXPECT_TRUE(reported.note(":1.1", "/a", 2));
    EXPECT_TRUE(reported.note(":1.2", "/a", 2));
    EXPECT_TRUE(reported.note(":1.3", "/a", 2));
    EXPECT_FALSE(reported.note(":1.4", "/a", 2));
}

TEST_F(BoundedReports, AreTakenFromAConnectionWhoseUserHasTooMany)
{
    reported.meet(":1.1");
    reported.setUser(":1.1", 7);
    reported.note(":1.1", "/a", 2);
    reported.note(":1.1", "/b", 2);
    reported.note(":1.2", "/c", 2);
    EXPECT_THAT(reported.setUser(":1.2", 7), IsEmpty()) << "at the bound";
    reported.note(":1.3", "/d", 2);
    reported.note(":1.3", "/e", 0);
    EXPECT_THAT(reported.setUser(":1.3", 7),
                ElementsAre(Pair("/d", 2), Pair("/e", 0)));
    EXPECT_FALSE(reported.meet(":1.3")) << "but it is known";
    EXPECT_FALSE(reported.note(":1.3", "/d", 2));
    reported.take(":1.2");
    EXPECT_TRUE(reported.note(":1.3", "/d", 2));
}

TEST_F(BoundedReports, AreEightMebibytesForAUserAndOneForAConnection)
{
    EXPECT_EQ(ReportedHealth::Bounds().connection, 1UL << 20);
    EXPECT_EQ(ReportedHealth::Bounds().user, 8UL << 20);
}

} // namespace
} // namespace healthintf::healthmgr
