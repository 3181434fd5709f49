// SPDX-License-Identifier: Apache-2.0
#include "eviction_count.hpp"

#include <gtest/gtest.h>

namespace healthintf::exporter
{
namespace
{

using Counted = std::map<std::string, uint64_t>;

const std::string fan = "/com/vexa/olvar/health/fan";

/** The path of a process's fault entry, named as the library does. */
std::string entry(int number, const std::string& key = fan,
                  const std::string& process = "04D2")
{
    const std::string digits = std::to_string(number);
    return key + "/entry/Fault_" + process +
           std::string(4 - digits.size(), '0') + digits + "_3";
}

class Evictions : public testing::Test
{
  protected:
    void add(int first, int last, const std::string& key = fan)
    {
        for (int number = first; number <= last; ++number)
        {
            count.added(":1.1", entry(number, key));
        }
    }

    EvictionCount count;
};

TEST_F(Evictions, AreRemovalsFromElevenFaults)
{
    count.startCounting();
    add(1, 11);
    count.removed(entry(4));
    EXPECT_EQ(count.evictions(), (Counted{{fan, 1}}));
    add(12, 12);
    count.removed(entry(12));
    EXPECT_EQ(count.evictions(), (Counted{{fan, 2}}));
}

TEST_F(Evictions, AreNoOtherRemovals)
{
    count.startCounting();
    add(1, 10);
    for (int number = 1; number <= 10; ++number)
    {
        count.removed(entry(number));
    }
    add(1, 10);
    count.removed(entry(10));
    EXPECT_TRUE(count.evictions().empty());
}

TEST_F(Evictions, AreCountedByComponent)
{
    count.startCounting();
    add(1, 11);
    add(20, 30, fan + "2");
    count.removed(entry(20, fan + "2"));
    count.removed(entry(1));
    add(12, 12);
    count.removed(entry(2));
    EXPECT_EQ(count.evictions(), (Counted{{fan, 2}, {fan + "2", 1}}));
}

TEST_F(Evictions, CountWithEarlierEntries)
{
    for (int number = 1; number <= 10; ++number)
    {
        count.know(entry(number));
    }
    count.startCounting();
    add(11, 11);
    count.removed(entry(1));
    EXPECT_EQ(count.evictions(), (Counted{{fan, 1}}));
}

TEST_F(Evictions, DoNotCountBeforeTheInitialStateIsKnown)
{
    add(1, 11);
    count.removed(entry(1));
    count.startCounting();
    EXPECT_TRUE(count.evictions().empty());
    add(12, 12);
    count.removed(entry(2));
    EXPECT_EQ(count.evictions(), (Counted{{fan, 1}}));
}

TEST_F(Evictions, AreNotSeenInAnEntryThatWasReadDuringItsRemoval)
{
    add(1, 10);
    count.removed(entry(10));
    count.know(entry(10));
    count.startCounting();
    add(11, 11);
    count.removed(entry(11));
    EXPECT_TRUE(count.evictions().empty());
}

TEST_F(Evictions, AreNotSeenInEntriesThatANewProcessTookOver)
{
    count.startCounting();
    add(1, 10);
    for (int number = 1; number <= 10; ++number)
    {
        count.added(":1.2", entry(number, fan, "04D3"));
    }
    count.removed(entry(1, fan, "04D3"));
    EXPECT_TRUE(count.evictions().empty());
}

TEST_F(Evictions, AreForgottenOfComponentsThatAreGone)
{
    const std::string psu = "/com/vexa/olvar/health/psu";
    count.startCounting();
    for (const std::string& key : {fan, psu})
    {
        add(1, 11, key);
        count.removed(entry(1, key));
    }
    ASSERT_EQ(count.evictions(), (Counted{{fan, 1}, {psu, 1}}));
    count.forgetAllBut({psu});
    EXPECT_EQ(count.evictions(), (Counted{{psu, 1}}));
    add(12, 12);
    count.removed(entry(2));
    EXPECT_EQ(count.evictions(), (Counted{{fan, 1}, {psu, 1}}));
}

TEST_F(Evictions, AreNotSeenAfterAProcessLeftItsEntries)
{
    count.startCounting();
    add(1, 10);
    count.left(":1.1");
    add(11, 11);
    count.removed(entry(11));
    EXPECT_TRUE(count.evictions().empty());
}

TEST_F(Evictions, AreStillSeenAfterOthersLeft)
{
    count.startCounting();
    add(1, 11);
    count.left(":1.7");
    count.removed(entry(1));
    EXPECT_EQ(count.evictions(), (Counted{{fan, 1}}));
}

TEST_F(Evictions, AreKeptWhenListeningRestarts)
{
    count.startCounting();
    add(1, 11);
    count.removed(entry(1));
    count.startAnew();
    add(12, 12);
    count.removed(entry(2));
    EXPECT_EQ(count.evictions(), (Counted{{fan, 1}}));
}

TEST_F(Evictions, AreNotSeenInTheRemovalOfAnUnknownEntry)
{
    count.startCounting();
    add(1, 11);
    count.removed(entry(99));
    count.removed("nonsense");
    EXPECT_TRUE(count.evictions().empty());
}

TEST_F(Evictions, AreSeenAmongALimitedNumberOfEntries)
{
    // Any reporter may announce many entries and never remove them.
    count.startCounting();
    for (std::size_t i = 0; i < EvictionCount::mostEntries - 11; ++i)
    {
        count.added(":1.2", entry(1, fan + std::to_string(i)));
    }
    add(1, 11);
    count.removed(entry(1));
    EXPECT_EQ(count.evictions(), (Counted{{fan, 1}}));

    add(12, 13);
    count.removed(entry(2));
    EXPECT_EQ(count.evictions(), (Counted{{fan, 2}}));
    add(14, 14);
    EXPECT_EQ(count.entries(), EvictionCount::mostEntries);
    add(15, 15);
    EXPECT_EQ(count.entries(), EvictionCount::mostEntries);

    count.left(":1.2");
    EXPECT_EQ(count.entries(), 11);
}

TEST_F(Evictions, AreNotSeenAmongPathsTooLongForARecord)
{
    const std::string key(510, 'x');
    count.startCounting();
    add(1, 12, "/" + key);
    EXPECT_EQ(count.entries(), 0);
}

TEST_F(Evictions, ForgetRemovalsBeyondTheLimitBeforeTheyCount)
{
    for (std::size_t i = 0; i <= EvictionCount::mostEntries; ++i)
    {
        count.removed(entry(1, fan + std::to_string(i)));
    }
    EXPECT_EQ(count.removals(), EvictionCount::mostEntries);
}

} // namespace
} // namespace healthintf::exporter
