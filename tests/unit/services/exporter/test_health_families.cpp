// SPDX-License-Identifier: Apache-2.0
#include "health_families.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>

namespace healthintf::exporter
{
namespace
{

using testing::Contains;
using testing::Not;
using testing::StartsWith;

using Evictions = std::map<std::string, uint64_t>;
using Lines = std::vector<std::string>;

/** The lines of a scrape that are samples. */
Lines writeSamples(const Snapshot& snapshot)
{
    std::istringstream text(render(makeFamilies(snapshot, "1.2.3")));
    Lines lines;
    for (std::string line; std::getline(text, line);)
    {
        if (!line.starts_with('#'))
        {
            lines.push_back(line);
        }
    }
    return lines;
}

Snapshot withCache(CacheContent content)
{
    Snapshot snapshot;
    snapshot.cache = std::move(content);
    return snapshot;
}

TEST(HealthFamilies, ReportWhatIsDownWhenNothingCouldBeRead)
{
    EXPECT_EQ(writeSamples({}),
              (Lines{"healthintf_build_info{version=\"1.2.3\"} 1",
                     "healthintf_data_cache_up 0", "healthintf_bus_up 0",
                     "healthintf_healthmgr_up 0", "healthintf_sel_up 0",
                     "healthintf_scrape_duration_seconds 0"}));
}

TEST(HealthFamilies, HaveTheHealthOfEachNode)
{
    const Lines lines =
        writeSamples(withCache({{{"/r", 4}, {"/r/fan", 2}}, {}}));
    EXPECT_THAT(lines, Contains("healthintf_data_cache_up 1"));
    EXPECT_THAT(lines, Contains("healthintf_node_health{component=\"/r\"} 4"));
    EXPECT_THAT(lines,
                Contains("healthintf_node_health{component=\"/r/fan\"} 2"));
}

TEST(HealthFamilies, CountFaultsBySeverityAndHiddenState)
{
    CacheContent content;
    content.faults["/r"] = {{{4, false}, 3}, {{4, true}, 1}, {{3, false}, 2}};
    const Lines lines = writeSamples(withCache(content));
    const std::string of = "healthintf_faults{component=\"/r\",severity=";
    EXPECT_THAT(lines, Contains(of + "\"critical\",hidden=\"false\"} 3"));
    EXPECT_THAT(lines, Contains(of + "\"critical\",hidden=\"true\"} 1"));
    EXPECT_THAT(lines, Contains(of + "\"warning\",hidden=\"false\"} 2"));
    EXPECT_THAT(lines, Contains(of + "\"warning\",hidden=\"true\"} 0"));
    EXPECT_THAT(lines, Contains(of + "\"OK\",hidden=\"false\"} 0"));
    EXPECT_THAT(lines, Contains(of + "\"unknown\",hidden=\"true\"} 0"));
}

TEST(HealthFamilies, ReportZeroFaultsForANodeWithoutFaults)
{
    Snapshot snapshot = withCache({{{"/r", 2}}, {}});
    snapshot.evictions.emplace();
    const Lines lines = writeSamples(snapshot);
    EXPECT_THAT(lines, Contains("healthintf_faults{component=\"/r\",severity="
                                "\"critical\",hidden=\"false\"} 0"));
    EXPECT_THAT(lines,
                Contains("healthintf_fault_evictions_total{component=\"/r\"} "
                         "0"));
}

TEST(HealthFamilies, CountAllInvalidSeveritiesInOneSample)
{
    CacheContent content;
    content.faults["/r"] = {{{5, false}, 3}, {{77, false}, 4}};
    EXPECT_THAT(writeSamples(withCache(content)),
                Contains("healthintf_faults{component=\"/r\",severity="
                         "\"invalid\",hidden=\"false\"} 7"));
}

TEST(HealthFamilies, HaveEvictionsOfComponentsWithoutRecordsToo)
{
    Snapshot snapshot = withCache({{{"/r", 2}}, {}});
    snapshot.evictions = Evictions{{"/gone", 5}};
    EXPECT_THAT(writeSamples(snapshot),
                Contains("healthintf_fault_evictions_total{component=\"/gone\"}"
                         " 5"));
}

TEST(HealthFamilies, LeaveOutEvictionsWhileTheyAreNotCounted)
{
    EXPECT_THAT(writeSamples(withCache({{{"/r", 2}}, {}})),
                Not(Contains(StartsWith("healthintf_fault_evictions"))));
}

TEST(HealthFamilies, HaveTheFillOfTheDataCache)
{
    Snapshot snapshot;
    snapshot.space = host::CacheSpace{.segments = 2,
                                      .usedBytes = 20000,
                                      .fullestUsedBytes = 12288,
                                      .fullestCapacity = 268435456,
                                      .fullest = {}};
    const Lines lines = writeSamples(snapshot);
    for (const char* line :
         {"healthintf_data_cache_processes 2",
          "healthintf_data_cache_used_bytes 20000",
          "healthintf_data_cache_fullest_used_bytes 12288",
          "healthintf_data_cache_fullest_capacity_bytes 268435456"})
    {
        EXPECT_THAT(lines, Contains(line));
    }
}

TEST(HealthFamilies, HaveTheStatusOfTheLog)
{
    Snapshot snapshot;
    snapshot.bus = true;
    snapshot.log =
        services::LogStatus{3, 4096, "wrap", true, 1700000000, 1600000000};
    const Lines lines = writeSamples(snapshot);
    for (const char* line :
         {"healthintf_bus_up 1", "healthintf_sel_up 1",
          "healthintf_sel_entries 3", "healthintf_sel_capacity 4096",
          "healthintf_sel_overflow 1",
          "healthintf_sel_policy_info{overflow=\"wrap\"} 1",
          "healthintf_sel_last_addition_timestamp_seconds 1700000000",
          "healthintf_sel_last_erase_timestamp_seconds 1600000000"})
    {
        EXPECT_THAT(lines, Contains(line));
    }
}

TEST(HealthFamilies, ReportWhetherTheHealthManagerAnswers)
{
    Snapshot snapshot;
    snapshot.healthmgr = true;
    EXPECT_THAT(writeSamples(snapshot), Contains("healthintf_healthmgr_up 1"));
}

TEST(HealthFamilies, CountWhatOperatorsNoted)
{
    Snapshot snapshot;
    snapshot.silences = 2;
    EXPECT_THAT(writeSamples(snapshot), Contains("healthintf_silences 2"));
    EXPECT_THAT(writeSamples(snapshot),
                Not(Contains(StartsWith("healthintf_acknowledged_faults"))));
    snapshot.acknowledgements = 0;
    EXPECT_THAT(writeSamples(snapshot),
                Contains("healthintf_acknowledged_faults 0"));
}

TEST(HealthFamilies, LeaveOutUnsetTimes)
{
    Snapshot snapshot;
    snapshot.log = services::LogStatus{};
    EXPECT_THAT(writeSamples(snapshot),
                Not(Contains(StartsWith("healthintf_sel_last"))));
}

} // namespace
} // namespace healthintf::exporter
