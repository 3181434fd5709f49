// SPDX-License-Identifier: Apache-2.0
#include "library_test.hpp"
#include "slots.hpp"

#include <hmi_faultentry.hpp>

#include <gmock/gmock.h>

#include <memory>
#include <stdexcept>

namespace health_namespace
{
namespace
{

using namespace healthintf::test;

constexpr const char* path = "/com/vexa/olvar/health/a/entry/Fault_1";
const std::string at = path;

class FaultEntryObject : public LibraryTest
{
  protected:
    FaultEntryObject()
    {
        sd_bus_add_object_manager(connection.raw(), &manager,
                                  "/com/vexa/olvar/health");
        journal().take();
    }

    ~FaultEntryObject() override
    {
        sd_bus_slot_unref(manager);
    }

    std::unique_ptr<FaultEntry> make(FaultEntry::PropertyMap extra = {})
    {
        extra.insert({{"FQDD", "Fan.1"},
                      {"MessageID", "FAN0001"},
                      {"SensorPath", "/sensors/fan1"},
                      {"SensorNumber", 48u},
                      {"SensorType", 4u}});
        return std::make_unique<FaultEntry>(bus, path, extra);
    }

    sd_bus_slot* manager = nullptr;
};

TEST_F(FaultEntryObject, NotesItsConstructionLast)
{
    const auto entry = make();
    EXPECT_EQ(journal().lines().back(),
              "log 8 271 hmi_faultentry.#.FaultEntry Entry : FaultEntry "
              "constructor called");
    EXPECT_EQ(entry->objectPath(), path);
    EXPECT_EQ(journal().count("InterfacesAdded"), 0u)
        << "its creator sends this signal";
}

TEST_F(FaultEntryObject, AnnouncesItsInitialValues)
{
    const auto entry = make();
    EXPECT_EQ(journal().count("PropertiesChanged"), 4u)
        << "of the five all but the constant one";
}

TEST_F(FaultEntryObject, IsRemovedInThisOrder)
{
    auto entry = make();
    entry->emit_added();
    journal().take();
    entry.reset();
    EXPECT_EQ(
        journal().take(),
        (Lines{"log 8 271 hmi_faultentry.#.~FaultEntry Entry : FAN0001 "
               "destructor called, generate signal",
               "signal " + at +
                   " com.vexa.olvar.healthmgr.FaultEntry FaultEntryRemoved "
                   "sssuu: 'Fan.1' 'FAN0001' '/sensors/fan1' 48 4",
               "InterfacesRemoved " + at +
                   " com.vexa.olvar.healthmgr.FaultEntry",
               "log 8 271 hmi_faultentry.#.~FaultEntry Entry : " + at +
                   " key delete datacache",
               "datacache_faultentry_remove " + at,
               "log 9 128 server.67.~FaultEntry: destructor called, DAL true",
               "datacache_faultentry_remove " + at, "~faultentry_cluster"}));
}

TEST_F(FaultEntryObject, AnnouncesNoRemovalOfAnUnannouncedEntry)
{
    auto entry = make();
    journal().take();
    entry.reset();
    EXPECT_EQ(journal().count("InterfacesRemoved"), 0u);
    EXPECT_EQ(journal().count("signal"), 1u);
}

TEST_F(FaultEntryObject, RemovesItsRecordOnceEvenIfItNeverHadOne)
{
    auto entry = make({{"meta-NonCached", true}});
    entry->emit_added();
    entry.reset();
    EXPECT_EQ(journal().count("datacache_faultentry_create"), 0u);
    EXPECT_EQ(journal().count("datacache_faultentry_remove"), 1u);
}

TEST_F(FaultEntryObject, RemovesItsRecordEvenWhenNothingCanBeSent)
{
    auto entry = make();
    entry->emit_added();
    journal().take();
    journal().answer("sd_bus_send FaultEntryRemoved", -ENOTCONN);
    entry.reset();
    const Lines lines = journal().take();
    EXPECT_THAT(lines,
                testing::Contains("log 2 271 EXCEPTION "
                                  "hmi_faultentry.#.~FaultEntry: sd_bus_send: "
                                  "System.Error.ENOTCONN: Transport endpoint "
                                  "is not connected"));
    EXPECT_THAT(lines, testing::Contains("InterfacesRemoved " + at +
                                         " com.vexa.olvar.healthmgr."
                                         "FaultEntry"));
    EXPECT_TRUE(platform().faultRecords.empty());
}

TEST_F(FaultEntryObject, CatchesExceptionsOfTheDataCacheAtItsEnd)
{
    auto entry = make();
    journal().fail("datacache_faultentry_remove", [] {
        throw std::runtime_error("broken");
    });
    entry.reset();
    EXPECT_EQ(journal().count("log 2 271 EXCEPTION "
                              "hmi_faultentry.#.~FaultEntry: broken"),
              1u);
}

TEST_F(FaultEntryObject, LeavesNothingWhenItCannotBeMade)
{
    const auto first = make();
    journal().take();
    EXPECT_THROW(make(), sdbusplus::exception::SdBusError);
    EXPECT_EQ(journal().count("datacache_"), 0u);
    EXPECT_EQ(journal().count("signal"), 0u);
}

TEST_F(FaultEntryObject, OverridesNothingButTheDestructors)
{
    EXPECT_EQ(
        (getSlots<sdbusplus::server::com::vexa::olvar::healthmgr::FaultEntry,
                  bool>(&FaultEntry::hidden, &FaultEntry::hidden,
                        &FaultEntry::hidden)),
        (PropertySlots{35, 36, 37}));
}

TEST(UniqueFaultNumber, CountsUpAndWraps)
{
    uint16_t last = FaultEntry::GetUniqueFaultNumber();
    for (int i = 0; i < 0x10000; ++i)
    {
        const uint16_t next = FaultEntry::GetUniqueFaultNumber();
        ASSERT_EQ(next, static_cast<uint16_t>(last + 1));
        last = next;
    }
}

} // namespace
} // namespace health_namespace
