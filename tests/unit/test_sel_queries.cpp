// SPDX-License-Identifier: Apache-2.0
#include "sel_test.hpp"

#include <lmi_sel_fault.hpp>

#include <limits>
#include <string>

namespace logmgr_interface
{
namespace
{

using namespace healthintf::test;

const std::string entryPath = "/com/vexa/olvar/logmgr/selentry/";
const std::string reading =
    "SELEntry.get_map_by_path_prefixes ['com.vexa.olvar.logmgr'] ";
const std::string all = "GetSELDatacacheEntries";
const std::string byId = "GetSELDatacacheEntryByID";

class SelQueries : public SelTest
{
  protected:
    static void haveEntry(const std::string& name, uint16_t recordId)
    {
        platform().sel.entries[entryPath + name] = {
            .recordId = recordId,
            .timestamp = recordId + 1000U,
            .sensor = {"Fan 1", "/sensors/fan1", 1, 2},
            .record = {9, 8, 7}};
    }

    /** The status of a query by identifier, and the entry's record identifier
     *  afterwards; it is 77 before. */
    std::pair<int, uint16_t> queryById(uint16_t recordId)
    {
        SELEntry_gen entry(SELEntryProperties{.recordId = 77, .sensor = {}});
        const int status = object.GetSELDatacacheEntryByID(entry, recordId);
        return {status, entry.recordId()};
    }

    SELAndFault object;
};

TEST_F(SelQueries, ReadEveryEntryByTheLogsPath)
{
    haveEntry("00001", 1);
    haveEntry("00042", 42);
    std::map<std::string, SELEntry_gen> entries;
    EXPECT_EQ(object.GetSELDatacacheEntries(entries), 0);
    EXPECT_EQ(journal().take(),
              (Lines{sel8 + all + " Entry : ",
                     reading + "['/com/vexa/olvar/logmgr/SEL']",
                     sel7 + all +
                         ": Exiting from GetSELDatacacheEntries: 2 entries"}));
    ASSERT_EQ(entries.size(), 2u);
    const SELEntry_gen& entry = entries.at(entryPath + "00042");
    EXPECT_EQ(entry.recordId(), 42);
    EXPECT_EQ(entry.timestamp(), 1042u);
    EXPECT_EQ(entry.sensor().path, "/sensors/fan1");
    EXPECT_EQ(entry.record()[2], 7);
}

TEST_F(SelQueries, KeepAndCountTheCallersEntries)
{
    haveEntry("00001", 1);
    std::map<std::string, SELEntry_gen> entries;
    entries["/mine"];
    EXPECT_EQ(object.GetSELDatacacheEntries(entries), 0);
    EXPECT_EQ(entries.size(), 2u);
    EXPECT_EQ(journal().count(sel7 + all +
                              ": Exiting from GetSELDatacacheEntries: 2 "
                              "entries"),
              1u);
}

TEST_F(SelQueries, SucceedInAnEmptyLog)
{
    std::map<std::string, SELEntry_gen> entries;
    EXPECT_EQ(object.GetSELDatacacheEntries(entries), 0);
    EXPECT_TRUE(entries.empty());
    EXPECT_EQ(journal().take(),
              (Lines{sel8 + all + " Entry : ",
                     reading + "['/com/vexa/olvar/logmgr/SEL']",
                     sel7 + all +
                         ": No data found for given path "
                         "/com/vexa/olvar/logmgr/SEL"}));
}

TEST_F(SelQueries, SucceedWhereNoEntryHasEverBeen)
{
    std::map<std::string, SELEntry_gen> entries;
    journal().answer("SELEntry.get_map_by_path_prefixes", 256);
    EXPECT_EQ(object.GetSELDatacacheEntries(entries), 0);
    EXPECT_EQ(
        journal().take(),
        (Lines{sel8 + all + " Entry : ",
               reading + "['/com/vexa/olvar/logmgr/SEL']",
               sel7 + all + ": No entries available, returning success"}));
}

TEST_F(SelQueries, FailWithTheDataCache)
{
    std::map<std::string, SELEntry_gen> entries;
    // Wider than int where long is.
    constexpr long failure = std::numeric_limits<long>::min();
    journal().answer("SELEntry.get_map_by_path_prefixes", failure);
    EXPECT_EQ(object.GetSELDatacacheEntries(entries), 5);
    EXPECT_EQ(journal().take(),
              (Lines{sel8 + all + " Entry : ",
                     reading + "['/com/vexa/olvar/logmgr/SEL']",
                     sel1 + all + ": Error in fetching from Datacache : " +
                         std::to_string(failure)}));
}

TEST_F(SelQueries, ReadOneEntryByItsIdentifier)
{
    haveEntry("00041", 41);
    haveEntry("00042", 42);
    EXPECT_EQ(queryById(42), std::pair(0, uint16_t{42}));
    EXPECT_EQ(journal().take(),
              (Lines{sel8 + byId + " Entry : ",
                     reading + "['" + entryPath + "00042']",
                     sel7 + byId +
                         ": Exiting from GetSELDatacacheEntryByID: Found 1 "
                         "entries for recordID 42"}));
}

TEST_F(SelQueries, WriteTheIdentifierInFiveDigits)
{
    for (const auto& [recordId, digits] : std::map<uint16_t, std::string>{
             {0, "00000"}, {7, "00007"}, {10000, "10000"}, {65535, "65535"}})
    {
        haveEntry(digits, recordId);
        EXPECT_EQ(queryById(recordId), std::pair(0, recordId));
        EXPECT_EQ(journal().take(reading),
                  Lines{reading + "['" + entryPath + digits + "']"});
    }
}

TEST_F(SelQueries, FailByIdentifierWithoutSuchAnEntry)
{
    haveEntry("00041", 41);
    EXPECT_EQ(queryById(42), std::pair(5, uint16_t{77}));
    EXPECT_EQ(
        journal().take(),
        (Lines{
            sel8 + byId + " Entry : ", reading + "['" + entryPath + "00042']",
            sel7 + byId + ": No data found for given recordID at path " +
                entryPath + "00042"}));
}

TEST_F(SelQueries, SucceedByIdentifierWhereNoEntryHasEverBeen)
{
    journal().answer("SELEntry.get_map_by_path_prefixes", 256);
    EXPECT_EQ(queryById(42), std::pair(0, uint16_t{77}));
    EXPECT_EQ(
        journal().take(),
        (Lines{
            sel8 + byId + " Entry : ", reading + "['" + entryPath + "00042']",
            sel7 + byId + ": No entries available, returning success"}));
}

TEST_F(SelQueries, FailByIdentifierWithTheDataCache)
{
    haveEntry("00042", 42);
    journal().answer("SELEntry.get_map_by_path_prefixes", 1);
    EXPECT_EQ(queryById(42), std::pair(5, uint16_t{77}));
    EXPECT_EQ(journal().take(),
              (Lines{sel8 + byId + " Entry : ",
                     reading + "['" + entryPath + "00042']",
                     sel1 + byId + ": Error in fetching from Datacache : 1"}));
}

TEST_F(SelQueries, GiveTheFirstOfSeveralEntriesThatBeginWithTheIdentifier)
{
    haveEntry("00042b", 2);
    haveEntry("00042a", 1);
    EXPECT_EQ(queryById(42), std::pair(0, uint16_t{1}));
    EXPECT_EQ(journal().take(),
              (Lines{sel8 + byId + " Entry : ",
                     reading + "['" + entryPath + "00042']",
                     sel2 + byId + ": Multiple entries found for path " +
                         entryPath + "00042. Returning first value.",
                     sel7 + byId +
                         ": Exiting from GetSELDatacacheEntryByID: Found 2 "
                         "entries for recordID 42"}));
}

} // namespace
} // namespace logmgr_interface
