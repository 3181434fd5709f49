// SPDX-License-Identifier: Apache-2.0
#include "list_queue.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace healthintf::logmgr
{
namespace
{

using testing::ElementsAre;
using testing::IsEmpty;

/** A queue of calls that differ in their first identifier. */
class Lists : public testing::Test
{
  protected:
    bool add(const std::string& sender, uint16_t first = 0)
    {
        return queue.add(sender, ListCall{nullptr, first, 0});
    }

    /** @return the number of calls that exceeded the user's limit */
    std::size_t setUser(const std::string& sender, uid_t user)
    {
        return queue.setUser(sender, user).size();
    }

    /** Adds as many calls as one sender may have. */
    void fill(const std::string& sender)
    {
        for (std::size_t i = 0; i < maxListsOfSender; ++i)
        {
            EXPECT_TRUE(add(sender));
        }
    }

    /** Adds calls of four senders, together as many as a user may have. */
    void fillUser(uid_t user)
    {
        for (const char* sender : {":1.1", ":1.2", ":1.3", ":1.4"})
        {
            fill(sender);
            EXPECT_EQ(setUser(sender, user), 0U);
        }
    }

    /** Takes all remaining calls. */
    std::vector<uint16_t> rest()
    {
        std::vector<uint16_t> firsts;
        while (const auto call = queue.next())
        {
            firsts.push_back(call->first);
        }
        return firsts;
    }

    ListQueue queue;
};

TEST_F(Lists, WaitForTheUserOfTheirSender)
{
    EXPECT_FALSE(queue.knows(":1.1"));
    EXPECT_TRUE(add(":1.1", 7));
    EXPECT_TRUE(queue.knows(":1.1"));
    EXPECT_FALSE(queue.ready());
    EXPECT_FALSE(queue.next());
    EXPECT_EQ(setUser(":1.1", 1000), 0U);
    EXPECT_TRUE(queue.ready());
    EXPECT_THAT(rest(), ElementsAre(7));
    EXPECT_FALSE(queue.ready());
    EXPECT_TRUE(add(":1.1", 8));
    EXPECT_THAT(rest(), ElementsAre(8));
}

TEST_F(Lists, AreFourOfASenderWhoseUserIsNotKnown)
{
    fill(":1.1");
    EXPECT_FALSE(add(":1.1"));
    EXPECT_TRUE(add(":1.2"));
}

TEST_F(Lists, AreFourOfASenderWhoseUserIsKnown)
{
    fill(":1.1");
    setUser(":1.1", 1000);
    EXPECT_FALSE(add(":1.1"));
    EXPECT_TRUE(queue.next());
    EXPECT_TRUE(add(":1.1"));
    EXPECT_FALSE(add(":1.1"));
}

TEST_F(Lists, AreSixteenOfAUser)
{
    fillUser(1000);
    setUser(":1.5", 1000);
    EXPECT_TRUE(add(":1.5"));
    EXPECT_EQ(setUser(":1.5", 1000), 1U);
    EXPECT_FALSE(add(":1.5"));
    EXPECT_TRUE(add(":1.6"));
    EXPECT_EQ(setUser(":1.6", 1001), 0U);
    EXPECT_TRUE(queue.next());
    EXPECT_TRUE(add(":1.5"));
    EXPECT_FALSE(add(":1.5"));
}

TEST_F(Lists, ThatExceedTheLimitOfTheirUserAreNotCounted)
{
    fillUser(1000);
    fill(":1.5");
    EXPECT_EQ(setUser(":1.5", 1000), maxListsOfSender);
    rest();
    fill(":1.5");
    EXPECT_FALSE(add(":1.5"));
}

TEST_F(Lists, LetTheUsersTakeTurns)
{
    for (const uint16_t first : {10, 11, 12})
    {
        add(":1.1", first);
    }
    setUser(":1.1", 1000);
    add(":1.2", 20);
    setUser(":1.2", 1001);
    add(":1.3", 13);
    setUser(":1.3", 1000);
    EXPECT_THAT(rest(), ElementsAre(10, 20, 11, 12, 13));
}

TEST_F(Lists, AreDroppedWithTheirSender)
{
    add(":1.1", 1);
    setUser(":1.1", 1000);
    add(":1.2", 2);
    setUser(":1.2", 1000);
    add(":1.3", 3);
    queue.forget(":1.1");
    queue.forget(":1.3");
    EXPECT_FALSE(queue.knows(":1.1"));
    EXPECT_FALSE(queue.knows(":1.3"));
    EXPECT_EQ(setUser(":1.3", 1000), 0U);
    EXPECT_FALSE(queue.knows(":1.3"));
    EXPECT_THAT(rest(), ElementsAre(2));
    add(":1.4");
    setUser(":1.4", 1001);
    queue.forget(":1.4");
    EXPECT_FALSE(queue.ready());
    EXPECT_THAT(rest(), IsEmpty());
}

} // namespace
} // namespace healthintf::logmgr
