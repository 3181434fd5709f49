// SPDX-License-Identifier: Apache-2.0
#include "component_test.hpp"
#include "stopped_clock.hpp"

#include <hmi_fault_health.hpp>

#include <gmock/gmock.h>

#include <algorithm>
#include <cerrno>
#include <string>

namespace health_namespace
{
namespace
{

using namespace healthintf::test;
using testing::Contains;
using testing::HasSubstr;
using testing::Not;

class FaultEviction : public ComponentTest
{
  protected:
    FaultEviction()
    {
        clockReads = clockStart;
    }
};

TEST_F(FaultEviction, NeverHoldsMoreThanTenFaults)
{
    const auto object = make();
    for (int i = 0; i < 25; ++i)
    {
        EXPECT_EQ(add(*object, 1), 0);
        EXPECT_LE(faults().size(), FaultAndHealth::maxFaults);
    }
    EXPECT_EQ(faults().size(), FaultAndHealth::maxFaults);
}

TEST_F(FaultEviction, DoesNotSearchForAFaultToEvictUpToTheTenth)
{
    const auto object = make();
    for (std::size_t i = 0; i < FaultAndHealth::maxFaults; ++i)
    {
        EXPECT_EQ(add(*object, 1), 0);
    }
    for (const std::string& line : journal().take())
    {
        EXPECT_THAT(line, Not(HasSubstr("removing lowest")));
    }
}

TEST_F(FaultEviction, EvictsTheLeastImportantInThisOrder)
{
    const auto object = make();
    ASSERT_EQ(add(*object, 2, "LEAST", "/sensors/least"), 0);
    const std::string least = faults().front();
    for (int i = 0; i < 9; ++i)
    {
        ASSERT_EQ(add(*object, 1, "WORSE"), 0);
    }
    journal().take();
    ASSERT_EQ(add(*object, 1, "WORSE"), 0);
    Lines lines = journal().take();
    const auto announced = std::ranges::find_if(lines, [](const auto& line) {
        return line.find("FaultEntryAdded") != std::string::npos;
    });
    ASSERT_NE(announced, lines.end());
    const std::string log =
        "271 hmi_fault_health.#.removeLowestPriorityFaultEntry";
    EXPECT_EQ(
        Lines(announced + 1, lines.end()),
        (Lines{"log 7 271 hmi_fault_health.#.addFault: Current Fault Entry "
               "Size : 11, removing lowest",
               "log 8 " + log + " Entry : ",
               "log 7 " + log +
                   ": MSG:LEAST, sev:3, timestmap:1700000000, "
                   "sensorpath:/sensors/least",
               "log 8 271 hmi_faultentry.#.~FaultEntry Entry : LEAST "
               "destructor called, generate signal",
               "signal " + least +
                   " com.vexa.olvar.healthmgr.FaultEntry FaultEntryRemoved "
                   "sssuu: 'Fan.1' 'LEAST' '/sensors/least' 48 4",
               "InterfacesRemoved " + least +
                   " com.vexa.olvar.healthmgr.FaultEntry",
               "log 8 271 hmi_faultentry.#.~FaultEntry Entry : " + least +
                   " key delete datacache",
               "datacache_faultentry_remove " + least,
               "log 9 128 server.67.~FaultEntry: destructor called, DAL true",
               "datacache_faultentry_remove " + least, "~faultentry_cluster",
               "log 8 " + log + " Exit : ",
               "log 8 271 hmi_fault_health.#.addFault Exit : "}))
        << "the health is not worked out anew: it equals the new fault's";
}

TEST_F(FaultEviction, EvictsTheNewFaultWhenAllOthersAreOlder)
{
    const auto object = make();
    for (int i = 0; i < 10; ++i, ++clockReads)
    {
        add(*object, 2, "OLD" + std::to_string(i));
    }
    add(*object, 2, "NEW");
    EXPECT_THAT(messages(), Not(Contains("NEW")));
    EXPECT_EQ(messages().size(), 10u);
}

TEST_F(FaultEviction, EvictsTheFirstOfFaultsOfTheSameSecond)
{
    const auto object = make();
    for (int i = 0; i < 10; ++i)
    {
        add(*object, 2, "OLD" + std::to_string(i));
    }
    add(*object, 2, "NEW");
    EXPECT_THAT(messages(), Contains("NEW"));
    EXPECT_THAT(messages(), Not(Contains("OLD0")));
}

TEST_F(FaultEviction, EvictsTheNewestOfTheLeastSevere)
{
    const auto object = make();
    for (int i = 0; i < 10; ++i)
    {
        clockReads += i % 5 == 0 ? 10 : 0;
        add(*object, 2, "OLD" + std::to_string(i));
    }
    ++clockReads;
    add(*object, 1, "NEW");
    EXPECT_THAT(messages(), Contains("NEW"));
    EXPECT_THAT(messages(), Not(Contains("OLD5")))
        << "of 5 to 9, which share the latest second, the first";
    EXPECT_EQ(messages().size(), 10u);
}

TEST_F(FaultEviction, EvictsTheNewFaultWhenItIsTheLeastSevere)
{
    const auto object = make();
    for (int i = 0; i < 10; ++i)
    {
        add(*object, 1, "OLD");
    }
    EXPECT_EQ(add(*object, 2, "NEW"), 0);
    EXPECT_THAT(messages(), Not(Contains("NEW")));
    EXPECT_EQ(health(), 4u);
}

TEST_F(FaultEviction, EvictsNothingUpToTenFaults)
{
    const auto object = make();
    for (int i = 0; i < 10; ++i)
    {
        add(*object, 1);
    }
    journal().take();
    object->removeLowestPriorityFaultEntry();
    EXPECT_EQ(journal().take(),
              (Lines{"log 8 271 "
                     "hmi_fault_health.#.removeLowestPriorityFaultEntry Entry "
                     ": ",
                     "log 7 271 "
                     "hmi_fault_health.#.removeLowestPriorityFaultEntry: "
                     "number of entry is low 10"}));
}

TEST_F(FaultEviction, KeepsAnEvictedFaultRemovedWhenTheNewOneFails)
{
    const auto object = make();
    add(*object, 3, "LEAST");
    for (int i = 0; i < 9; ++i)
    {
        add(*object, 2, "MORE");
    }
    journal().answer("sd_bus_send HealthStatusUpdate", -ENOTCONN);
    EXPECT_EQ(add(*object, 1, "NEW"), 4);
    EXPECT_EQ(messages(), Lines(9, "MORE"));
    EXPECT_EQ(health(), 3u);
}

} // namespace
} // namespace health_namespace
