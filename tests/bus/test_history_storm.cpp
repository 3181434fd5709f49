// SPDX-License-Identifier: Apache-2.0
/** @file A logmgr that is killed again and again while faults come and go. */

#include "cache_view.hpp"
#include "component.hpp"
#include "history_client.hpp"
#include "private_bus.hpp"
#include "process.hpp"

#include <gtest/gtest.h>

#include <cstdlib>
#include <map>
#include <memory>
#include <random>
#include <set>
#include <string>

namespace healthintf::test
{
namespace
{

/** A number from the environment: the campaign asks for more than the usual
 *  tests. */
int readSetting(const char* name, int usual)
{
    const char* text = getenv(name);
    return text == nullptr ? usual : std::stoi(text);
}

class HistoryStorm : public testing::Test
{
  protected:
    void start()
    {
        logmgr = std::make_unique<Process>(std::vector<std::string>{LOGMGR});
        client.waitUntilReady();
    }

    void killAndStart()
    {
        logmgr->kill();
        client.waitUntil("end of the history", [this] {
            return client.findOwner(host::historyService).empty();
        });
        start();
    }

    std::string keyOf(int number) const
    {
        return root + "/c" + std::to_string(number % components);
    }

    /** Lets the fault with a number come, and an older one go. */
    void addOne(Component& daemon, int number)
    {
        const auto id = [](int of) {
            return "F" + std::to_string(of);
        };
        daemon.add(keyOf(number), id(number), "/sensor", 1);
        if (const int old = number - lasting; old >= 0)
        {
            daemon.remove(keyOf(old), id(old), "/sensor");
        }
    }

    static constexpr int components = 20;
    /** How many faults last at a time; a component shows ten. */
    static constexpr int lasting = 100;
    const std::string root = "/com/vexa/olvar/health/storm";
    PrivateBus bus;
    HistoryClient client;
    std::unique_ptr<Process> logmgr;
};

/** What the history tells of one fault entry. */
struct Told
{
    int begins = 0;
    int ends = 0;
    bool missed = false;
};

std::map<std::string, Told>
countByEntry(const std::vector<HistoryRecord>& records)
{
    std::map<std::string, Told> entries;
    for (const HistoryRecord& record : records)
    {
        Told& told = entries[record.at("Entry")];
        ++(record.at("Kind") == "appeared" ? told.begins : told.ends);
        told.missed |= record.contains("Missed");
        EXPECT_LE(told.ends, told.begins) << record.at("Entry");
    }
    return entries;
}

/** The records by their numbers, which must rise. */
std::map<uint64_t, HistoryRecord>
sortBySequence(const std::vector<HistoryRecord>& records)
{
    std::map<uint64_t, HistoryRecord> sorted;
    for (const HistoryRecord& record : records)
    {
        const uint64_t sequence = std::stoull(record.at("Sequence"));
        EXPECT_TRUE(sorted.empty() || sequence > sorted.rbegin()->first);
        sorted.emplace(sequence, record);
    }
    return sorted;
}

TEST_F(HistoryStorm, IsWholeHoweverOftenLogmgrIsKilled)
{
    const int faults = readSetting("HEALTHINTF_STORM_FAULTS", 1000);
    const int kills = readSetting("HEALTHINTF_STORM_KILLS", 10);
    std::mt19937 random(
        static_cast<unsigned int>(readSetting("HEALTHINTF_STORM_SEED", 1)));
    std::set<int> moments;
    while (static_cast<int>(moments.size()) < kills)
    {
        moments.insert(static_cast<int>(random() % faults));
    }
    start();
    Component daemon;
    for (int i = 0; i < components; ++i)
    {
        daemon.init(keyOf(i), 2);
    }
    for (int i = 0; i < faults; ++i)
    {
        addOne(daemon, i);
        if (moments.contains(i))
        {
            killAndStart();
        }
    }
    // The last signals were sent before this one is.
    daemon.add(keyOf(0), "LAST", "/sensor", 1);
    client.waitUntil("the last fault", [this] {
        return !client.heard.empty() &&
               client.heard.back().at("MessageID") == "LAST";
    });

    const auto records = client.readAll();
    const auto sequences = sortBySequence(records);
    for (const HistoryRecord& record : client.heard)
    {
        const auto found = sequences.find(std::stoull(record.at("Sequence")));
        ASSERT_NE(found, sequences.end());
        EXPECT_EQ(found->second, record);
    }
    std::size_t open = 0;
    std::size_t missed = 0;
    for (const auto& [entry, told] : countByEntry(records))
    {
        EXPECT_EQ(told.begins, 1) << entry;
        EXPECT_LE(told.ends, 1) << entry;
        open += told.begins - told.ends;
        missed += told.missed ? 1 : 0;
    }
    EXPECT_EQ(open, recordedFaults().size());
    EXPECT_GT(missed, 0U);
}

} // namespace
} // namespace healthintf::test
