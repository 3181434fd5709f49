// SPDX-License-Identifier: Apache-2.0
#include "recording_platform.hpp"

#include <hmi_faultentry.hpp>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <set>

namespace health_namespace
{
namespace
{

using namespace healthintf::test;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAreArray;
using Lines = std::vector<std::string>;
using Entries = std::vector<std::pair<std::string, FaultEntry_gen>>;

const std::string root = "/com/vexa/olvar/health";
const std::string read = "FaultEntry.get_map_by_path_prefixes";

/** The start of a line that a query logs. */
std::string logged(int level, const std::string& function)
{
    return "log " + std::to_string(level) + " 271 hmi_fault_health.#." +
           function;
}

class FaultQuery : public testing::Test
{
  protected:
    FaultQuery()
    {
        resetPlatform();
    }

    /** Puts a fault record of a component into the data cache.
     *
     *  @return its path */
    static std::string have(const std::string& key,
                            FaultEntryPropertyMap properties = {})
    {
        const std::string path =
            key + "/entry/" + std::to_string(platform().faultRecords.size());
        platform().faultRecords[path] = std::move(properties);
        return path;
    }
};

class CountOfFaults : public FaultQuery
{
  protected:
    int ask()
    {
        return FaultEntry::GetNumberOfHiddenVisibleFaults(visible, hidden);
    }

    const std::string name = "GetNumberOfHiddenVisibleFaults";
    int visible = 7;
    int hidden = 7;
};

TEST_F(CountOfFaults, CountsTheHiddenAndTheOthersOfAllPaths)
{
    have(root + "/a", {{"Hidden", true}});
    have(root + "/b", {{"Hidden", false}});
    have("/elsewhere", {{"Hidden", true}});
    have("/elsewhere");
    have("/elsewhere");
    EXPECT_EQ(ask(), statusOk);
    EXPECT_EQ(visible, 3);
    EXPECT_EQ(hidden, 2);
    EXPECT_EQ(journal().take(),
              (Lines{logged(8, name + " Entry : "), read + " [] []"}));
}

TEST_F(CountOfFaults, IsZeroWithoutRecords)
{
    EXPECT_EQ(ask(), statusOk);
    EXPECT_EQ(visible, 0);
    EXPECT_EQ(hidden, 0);
    EXPECT_EQ(journal().take(),
              (Lines{logged(8, name + " Entry : "), read + " [] []",
                     logged(7, name + ": No Data found.")}));
}

TEST_F(CountOfFaults, IsZeroWhenThereHasNeverBeenAFault)
{
    journal().answer(read, DataAbstraction::readNoRecords);
    EXPECT_EQ(ask(), statusOk);
    EXPECT_EQ(visible, 0);
    EXPECT_EQ(hidden, 0);
    EXPECT_EQ(
        journal().take(),
        (Lines{logged(8, name + " Entry : "), read + " [] []",
               logged(7, name + ": No entries available, returning success")}));
}

TEST_F(CountOfFaults, IsZeroWhenTheDataCacheFails)
{
    have(root);
    journal().answer(read, -5);
    EXPECT_EQ(ask(), statusNotRead);
    EXPECT_EQ(visible, 0);
    EXPECT_EQ(hidden, 0);
    EXPECT_EQ(
        journal().take(),
        (Lines{logged(8, name + " Entry : "), read + " [] []",
               logged(1, name + ": Error in fetching from Datacache : -5")}));
}

class LedStates : public FaultQuery
{
  protected:
    int ask()
    {
        return FaultEntry::GetLEDStateFromFaultEntries(states);
    }

    static void haveState(int32_t state, bool hidden = false)
    {
        have(root + "/a", {{"LedState", state}, {"Hidden", hidden}});
    }

    const std::string name = "GetLEDStateFromFaultEntries";
    const std::string readTree = read + " [] ['" + root + "']";
    std::vector<int> states = std::vector<int>(7, 9);
};

TEST_F(LedStates, AreThoseOfTheTreesFaults)
{
    haveState(3);
    haveState(3);
    haveState(6);
    haveState(1);
    have("/elsewhere", {{"LedState", int32_t{2}}});
    EXPECT_EQ(ask(), statusOk);
    EXPECT_THAT(states, ElementsAre(0, 1, 0, 1, 0, 0, 1));
    EXPECT_EQ(journal().take(),
              (Lines{logged(8, name + " Entry : "), readTree,
                     logged(7, name + ": LED States: 1 0 1 0 0 1")}));
}

TEST_F(LedStates, AreEachLoggedInTheirPlace)
{
    haveState(2);
    haveState(4);
    EXPECT_EQ(ask(), statusOk);
    EXPECT_EQ(journal().lines().back(),
              logged(7, name + ": LED States: 0 1 0 1 0 0"));
}

TEST_F(LedStates, AreEachAnElementOfItsOwn)
{
    for (int32_t state = 1; state <= 6; ++state)
    {
        platform().faultRecords.clear();
        haveState(state);
        EXPECT_EQ(ask(), statusOk);
        std::vector<int> expected(7, 0);
        expected[state] = 1;
        EXPECT_EQ(states, expected);
    }
}

TEST_F(LedStates, AreNoneForInvalidCodes)
{
    for (const int32_t state : {0, 7, -1, std::numeric_limits<int32_t>::min(),
                                std::numeric_limits<int32_t>::max()})
    {
        haveState(state);
    }
    EXPECT_EQ(ask(), statusOk);
    EXPECT_THAT(states, ElementsAre(0, 0, 0, 0, 0, 0, 0));
    EXPECT_EQ(journal().lines().back(),
              logged(7, name + ": LED States: 0 0 0 0 0 0"));
}

TEST_F(LedStates, IncludeThoseOfHiddenFaults)
{
    haveState(5, true);
    EXPECT_EQ(ask(), statusOk);
    EXPECT_THAT(states, ElementsAre(0, 0, 0, 0, 0, 1, 0));
}

TEST_F(LedStates, RequireAVectorOfTheRightSize)
{
    haveState(3);
    for (const std::size_t size : {0, 6, 8})
    {
        states.assign(size, 9);
        EXPECT_EQ(ask(), statusInvalidArgument);
        EXPECT_EQ(states, std::vector<int>(size, 9));
        EXPECT_EQ(
            journal().take(),
            (Lines{logged(8, name + " Entry : "),
                   logged(1, name +
                                 ": Error in input vector ledStates of size " +
                                 std::to_string(size))}));
    }
}

TEST_F(LedStates, AreNoneWithoutRecordsInTheTree)
{
    have("/elsewhere", {{"LedState", int32_t{2}}});
    EXPECT_EQ(ask(), statusOk);
    EXPECT_THAT(states, ElementsAre(0, 0, 0, 0, 0, 0, 0));
    EXPECT_EQ(
        journal().take(),
        (Lines{logged(8, name + " Entry : "), readTree,
               logged(7, name + ": No Data found for given path " + root)}));
}

TEST_F(LedStates, AreNoneWhenThereHasNeverBeenAFault)
{
    journal().answer(read, DataAbstraction::readNoRecords);
    EXPECT_EQ(ask(), statusOk);
    EXPECT_THAT(states, ElementsAre(0, 0, 0, 0, 0, 0, 0));
    EXPECT_EQ(journal().take(),
              (Lines{logged(8, name + " Entry : "), readTree,
                     logged(7, name + ": Datacache not created(no entries), so "
                                      "skipping and return success")}));
}

TEST_F(LedStates, AreNoneWhenTheDataCacheFails)
{
    haveState(3);
    journal().answer(read, 255);
    EXPECT_EQ(ask(), statusNotRead);
    EXPECT_THAT(states, ElementsAre(0, 0, 0, 0, 0, 0, 0));
    EXPECT_EQ(
        journal().take(),
        (Lines{logged(8, name + " Entry : "), readTree,
               logged(1, name + ": Error in fetching from Datacache : 255")}));
}

class TopFaults : public FaultQuery
{
  protected:
    int ask(int n, bool severeOnly = false)
    {
        return FaultEntry::GetNFaultEntries(prefix, n, entries, severeOnly);
    }

    static std::string haveFault(uint32_t severity, uint64_t timestamp,
                                 bool hidden = false)
    {
        return have(root + "/a", {{"MessageID", "FAN0001"},
                                  {"Severity", severity},
                                  {"Timestamp", timestamp},
                                  {"Hidden", hidden}});
    }

    /** Puts records of severity 4, 4, 3, 4 and 2 into the data cache. */
    static void haveFive()
    {
        haveFault(4, 50);
        haveFault(4, 10);
        haveFault(3, 5);
        haveFault(4, 30);
        haveFault(2, 1);
    }

    /** Puts an entry into the list before the query fills it. */
    void addBefore(const std::string& path, uint32_t severity,
                   uint64_t timestamp)
    {
        FaultEntryProperties properties;
        properties.severity = severity;
        properties.timestamp = timestamp;
        entries.emplace_back(path, FaultEntry_gen(std::move(properties)));
    }

    using Rank = std::pair<uint32_t, uint64_t>;

    /** The severity and the timestamp of each entry. */
    std::vector<Rank> ranks() const
    {
        std::vector<Rank> all;
        for (const auto& [path, record] : entries)
        {
            all.emplace_back(record.severity(), record.timestamp());
        }
        return all;
    }

    std::vector<std::string> paths() const
    {
        std::vector<std::string> all;
        for (const auto& [path, record] : entries)
        {
            all.push_back(path);
        }
        return all;
    }

    const std::string name = "GetNFaultEntries";
    const std::string readTree = read + " [] ['" + root + "']";
    std::string prefix = root;
    Entries entries;
};

TEST_F(TopFaults, AreTheMostSevereAndOfThoseTheOldest)
{
    haveFive();
    EXPECT_EQ(ask(2), statusOk);
    EXPECT_THAT(ranks(), ElementsAre(Rank(4, 10), Rank(4, 30)));
    const std::string before =
        logged(5, name + ": Before:" + root + "/a/entry/");
    EXPECT_EQ(
        journal().take(),
        (Lines{logged(8, name + " Entry : "), readTree,
               logged(7, name + ": No of entries found : 5"),
               before + "0, msg:FAN0001 4 50", before + "1, msg:FAN0001 4 10",
               before + "2, msg:FAN0001 3 5", before + "3, msg:FAN0001 4 30",
               before + "4, msg:FAN0001 2 1",
               logged(7, name + ": Resizing the array to 2"),
               logged(7, name + ": Exit: 2")}));
}

TEST_F(TopFaults, AreAllFaultsInOrderWithoutALimit)
{
    haveFive();
    for (const int n : {0, -1, std::numeric_limits<int>::min(), 5, 6,
                        std::numeric_limits<int>::max()})
    {
        entries.clear();
        journal().take();
        EXPECT_EQ(ask(n), statusOk);
        EXPECT_THAT(ranks(), ElementsAre(Rank(4, 10), Rank(4, 30), Rank(4, 50),
                                         Rank(3, 5), Rank(2, 1)))
            << n;
        EXPECT_EQ(journal().lines().back(), logged(7, name + ": Exit: 5"));
        EXPECT_EQ(journal().count(logged(7, name + ": Resizing")), 0u) << n;
    }
}

TEST_F(TopFaults, CarryTheirPathsAndTheWholeRecord)
{
    const FaultEntryPropertyMap properties{
        {"FQDD", "Fan.1"},
        {"MessageID", "FAN0001"},
        {"Message", "Fan 7 failed."},
        {"Args", std::vector<std::string>{"7"}},
        {"Timestamp", uint64_t{1'700'000'000}},
        {"Severity", 4u},
        {"SensorPath", "/sensors/fan7"},
        {"SensorNumber", 48u},
        {"SensorType", 5u},
        {"Hidden", false},
        {"LedState", int32_t{3}},
        {"LcdMessage", "Fan 7"}};
    const std::string path = have(root, properties);
    EXPECT_EQ(ask(1), statusOk);
    ASSERT_EQ(paths(), Lines{path});
    const FaultEntry_gen& record = entries[0].second;
    EXPECT_EQ(record.fqdd(), "Fan.1");
    EXPECT_EQ(record.messageID(), "FAN0001");
    EXPECT_EQ(record.message(), "Fan 7 failed.");
    EXPECT_EQ(record.args(), std::vector<std::string>{"7"});
    EXPECT_EQ(record.timestamp(), 1'700'000'000u);
    EXPECT_EQ(record.severity(), 4u);
    EXPECT_EQ(record.sensorPath(), "/sensors/fan7");
    EXPECT_EQ(record.sensorNumber(), 48u);
    EXPECT_EQ(record.sensorType(), 5u);
    EXPECT_EQ(record.ledState(), 3);
    EXPECT_EQ(record.lcdMessage(), "Fan 7");
    EXPECT_FALSE(record.hidden());
}

TEST_F(TopFaults, AreThoseOfTheRequestedPath)
{
    haveFault(4, 1);
    const std::string other = have(root + "/ab", {{"Severity", 2u}});
    have("/elsewhere", {{"Severity", 4u}});
    prefix = root + "/ab";
    EXPECT_EQ(ask(0), statusOk);
    EXPECT_EQ(paths(), Lines{other});
    EXPECT_EQ(journal().takeCalls(), Lines{read + " [] ['" + prefix + "']"});
}

TEST_F(TopFaults, AreOnlySevereOnesOnRequest)
{
    for (const uint32_t severity : {0u, 1u, 2u, 3u, 4u, 0xFFFFFFFFu})
    {
        haveFault(severity, 1);
    }
    EXPECT_EQ(ask(0, true), statusOk);
    EXPECT_THAT(ranks(),
                ElementsAre(Rank(0xFFFFFFFF, 1), Rank(4, 1), Rank(3, 1)));
    EXPECT_EQ(journal().count(logged(5, name + ": Before:")), 6u);
    entries.clear();
    EXPECT_EQ(ask(0, false), statusOk);
    EXPECT_EQ(entries.size(), 6u);
}

TEST_F(TopFaults, AreNeverHidden)
{
    haveFault(4, 1, true);
    haveFault(3, 2);
    for (const bool severeOnly : {true, false})
    {
        entries.clear();
        EXPECT_EQ(ask(0, severeOnly), statusOk);
        EXPECT_THAT(ranks(), ElementsAre(Rank(3, 2)));
    }
}

TEST_F(TopFaults, ThatAreEqualComeInAnyOrder)
{
    for (int i = 0; i < 40; ++i)
    {
        haveFault(4, 10);
    }
    haveFault(4, 9);
    EXPECT_EQ(ask(0), statusOk);
    EXPECT_EQ(ranks().front(), Rank(4, 9));
    Lines expected;
    for (const auto& [path, record] : platform().faultRecords)
    {
        expected.push_back(path);
    }
    EXPECT_THAT(paths(), UnorderedElementsAreArray(expected));

    entries.clear();
    EXPECT_EQ(ask(3), statusOk);
    EXPECT_THAT(ranks(), ElementsAre(Rank(4, 9), Rank(4, 10), Rank(4, 10)));
    const auto three = paths();
    EXPECT_EQ(std::set(three.begin(), three.end()).size(), 3u);
}

TEST_F(TopFaults, AreFoundAmongMany)
{
    for (uint64_t i = 0; i < 500; ++i)
    {
        haveFault(i % 5, 1000 + i * 77 % 500);
    }
    EXPECT_EQ(ask(0), statusOk);
    auto all = ranks();
    EXPECT_EQ(all.size(), 500u);
    EXPECT_TRUE(std::is_sorted(all.begin(), all.end(), [](Rank a, Rank b) {
        return a.first > b.first || (a.first == b.first && a.second < b.second);
    }));
    entries.clear();
    EXPECT_EQ(ask(10), statusOk);
    all.resize(10);
    EXPECT_EQ(ranks(), all);
}

TEST_F(TopFaults, CompeteWithExistingElements)
{
    haveFault(4, 20);
    haveFault(2, 1);
    addBefore("old", 4, 10);
    addBefore("older", 3, 10);
    EXPECT_EQ(ask(2), statusOk);
    EXPECT_THAT(ranks(), ElementsAre(Rank(4, 10), Rank(4, 20)));
    EXPECT_EQ(paths().front(), "old");
    EXPECT_THAT(journal().take(),
                Contains(logged(7, name + ": Resizing the array to 2")));
}

TEST_F(TopFaults, LeaveAsManyElementsAsRecordsWithoutALimit)
{
    haveFault(2, 20);
    addBefore("old", 4, 10);
    addBefore("older", 3, 10);
    for (const int n : {0, 2})
    {
        const Entries given = entries;
        EXPECT_EQ(ask(n), statusOk);
        EXPECT_THAT(ranks(), ElementsAre(Rank(4, 10))) << n;
        EXPECT_EQ(journal().count(logged(7, name + ": Resizing the array to "
                                                   "1")),
                  1u);
        journal().take();
        entries = given;
    }
    EXPECT_EQ(ask(-1), statusOk);
    EXPECT_THAT(ranks(), ElementsAre(Rank(4, 10), Rank(3, 10), Rank(2, 20)));
}

TEST_F(TopFaults, OrderExistingElementsWhenNoneIsAdded)
{
    haveFault(4, 20, true);
    haveFault(4, 20, true);
    addBefore("older", 3, 10);
    addBefore("old", 4, 10);
    EXPECT_EQ(ask(0), statusOk);
    EXPECT_THAT(paths(), ElementsAre("old", "older"));
    EXPECT_EQ(journal().lines().back(), logged(7, name + ": Exit: 2"));
}

TEST_F(TopFaults, AreNoneWhenAllAreFilteredOut)
{
    haveFault(2, 1);
    haveFault(4, 1, true);
    EXPECT_EQ(ask(2, true), statusOk);
    EXPECT_THAT(entries, IsEmpty());
    EXPECT_EQ(journal().lines().back(),
              logged(7, name + ": no entires added after filtering"));
    EXPECT_EQ(journal().count(logged(7, name + ": Exit")), 0u);
}

TEST_F(TopFaults, AreNoneWithoutRecordsUnderThePath)
{
    haveFault(4, 1);
    addBefore("older", 3, 10);
    addBefore("old", 4, 10);
    prefix = "/nowhere";
    EXPECT_EQ(ask(1), statusOk);
    EXPECT_THAT(paths(), ElementsAre("older", "old"));
    EXPECT_EQ(
        journal().take(),
        (Lines{logged(8, name + " Entry : "), read + " [] ['/nowhere']",
               logged(7, name + ": No Data found for given path /nowhere")}));
}

TEST_F(TopFaults, AreNoneWhenThereHasNeverBeenAFault)
{
    addBefore("older", 3, 10);
    addBefore("old", 4, 10);
    journal().answer(read, DataAbstraction::readNoRecords);
    EXPECT_EQ(ask(1), statusOk);
    EXPECT_THAT(paths(), ElementsAre("older", "old"));
    EXPECT_EQ(
        journal().take(),
        (Lines{logged(8, name + " Entry : "), readTree,
               logged(7, name + ": No entries available, returning success")}));
}

TEST_F(TopFaults, AreNoneWhenTheDataCacheFails)
{
    haveFault(4, 1);
    addBefore("older", 3, 10);
    journal().answer(read, 13);
    EXPECT_EQ(ask(1), statusNotRead);
    EXPECT_THAT(paths(), ElementsAre("older"));
    EXPECT_EQ(
        journal().take(),
        (Lines{logged(8, name + " Entry : "), readTree,
               logged(1, name + ": Error in fetching from Datacache : 13")}));
}

} // namespace
} // namespace health_namespace
