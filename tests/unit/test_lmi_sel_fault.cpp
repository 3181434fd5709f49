// SPDX-License-Identifier: Apache-2.0
#include "sel_test.hpp"
#include "text.hpp"

#include <lmi_sel_fault.hpp>

#include <gmock/gmock.h>

#include <cstring>
#include <stdexcept>
#include <type_traits>

namespace logmgr_interface
{
namespace
{

using namespace healthintf::test;
using health_namespace::Status;

const EventText failed{.severity = 2,
                       .messageId = "FAN0001",
                       .message = "Fan 1 failed.",
                       .args = {"1", "rear"},
                       .description = "Fan.1"};
const EventText works{
    .severity = 3, .messageId = "FAN0002", .message = "Fan 1 works."};

const std::string removing =
    "log 7 271 hmi_fault_health.#.removeFault: Remove fault called for ";
const std::string adding = "log 8 271 hmi_fault_health.#.addFault Entry : ";
const std::string detaching = "IPMI_SELCSSDSELDetach";
const std::string detached = sel7 + "~CSSDInfoFetcher: Destructor called";
const std::string fetching =
    sel7 + "FetchJNLEntryFromSELEvent: before calling the CSSD Function vector "
           "Size:16";
const std::string fetchingLcd =
    sel7 + "FetchLCDEntryFromSELEvent: Before fetching CSSD LCD Information";
const std::string find = "findFaultInfoAndAddFault";

std::string storing(const Bytes& record)
{
    return "AddSEL com.vexa.olvar.logmgr /com/vexa/olvar/logmgr/SEL 'Fan 1' "
           "'/sensors/fan1' 7 9 [" +
           text(record) + "] now";
}

std::string transform(const Bytes& record)
{
    return "TransformSELEventToJNLEntry " + text(record) + " zeroed";
}

std::string transformLcd(const Bytes& record)
{
    return "TransformSELEventToLCD " + text(record) + " zeroed";
}

Lines join(std::initializer_list<Lines> parts)
{
    Lines all;
    for (const auto& part : parts)
    {
        all.insert(all.end(), part.begin(), part.end());
    }
    return all;
}

/** The first log lines of every report of an event to a component. */
const Lines begun{
    sel8 + find + " Entry : ", sel7 + "CSSDInfoFetcher: Constructor called",
    "IPMI_SELCSSDSELAttach"};
const Lines ended{detaching, detached};

Lines fetchedOpposite(const Bytes& record)
{
    return {fetching, transform(record)};
}

Lines removed(const std::string& messageId)
{
    return {sel7 + find + ": Remove the assert/deassert fault " + messageId,
            removing + messageId};
}

class LmiSelFault : public SelTest
{
  protected:
    LmiSelFault() : component(make()), object(component.get(), "fan daemon")
    {
        describe(failed, works);
        platform().sel.panels[event(true)] = lcdEntry(200, "Fan 1!");
        journal().clear();
    }

    int report(bool asserted)
    {
        Bytes record = event(asserted);
        return object.addSELAndFault(sensor, record);
    }

    int find(bool asserted)
    {
        Bytes record = event(asserted);
        return object.findFaultInfoAndAddFault(sensor, record);
    }

    std::unique_ptr<FaultAndHealth> component;
    SELAndFault object;
};

TEST_F(LmiSelFault, StoresRemovesTheOppositeAndAddsInThisOrder)
{
    EXPECT_EQ(report(true), 0);
    EXPECT_EQ(
        takeSel(),
        join({{sel7 + "addSELAndFault: Entry", storing(event(true))},
              begun,
              fetchedOpposite(event(false)),
              removed("FAN0002"),
              {fetching, transform(event(true)), fetchingLcd,
               transformLcd(event(true)),
               sel7 + "findFaultInfoAndAddFault: Add new fault entry FAN0001",
               adding, sel8 + "findFaultInfoAndAddFault Exit : "},
              ended,
              {sel7 + "addSELAndFault: Exiting from addSELAndFault"}}));
}

TEST_F(LmiSelFault, PassesThePartsOfTheEventToTheFault)
{
    report(true);
    ASSERT_EQ(faults().size(), 1u);
    const auto& fault = platform().faultRecords.begin()->second;
    EXPECT_THAT(
        healthintf::test::text(fault),
        testing::MatchesRegex(
            "\\{Args=\\['1', 'rear'\\], FQDD='Fan.1', Hidden=false, "
            "LcdMessage='Fan 1!', LedState=200, Message='Fan 1 failed.', "
            "MessageID='FAN0001', SensorNumber=48, "
            "SensorPath='/sensors/fan1', SensorType=4, Severity=3, "
            "Timestamp=[0-9]+\\}"));
    EXPECT_EQ(health(), 3u);
}

TEST_F(LmiSelFault, ClearsTheFaultOfAnAssertionByItsDeassertion)
{
    report(true);
    add(*component, 2, "FAN0001", "/sensors/fan2");
    takeSel();
    EXPECT_EQ(report(false), 0);
    EXPECT_EQ(
        takeSel(),
        join({{sel7 + "addSELAndFault: Entry", storing(event(false))},
              begun,
              fetchedOpposite(event(true)),
              removed("FAN0001"),
              {fetching, transform(event(false)), fetchingLcd,
               transformLcd(event(false)),
               sel7 + "findFaultInfoAndAddFault: Add new fault entry FAN0002",
               sel7 + "findFaultInfoAndAddFault: Skip adding info messages "
                      "Fan 1 works."},
              ended,
              {sel7 + "addSELAndFault: Exiting from addSELAndFault"}}));
    EXPECT_EQ(messages(), Lines{"FAN0001"}) << "the other fan's fault stays";
}

TEST_F(LmiSelFault, RefusesARecordOfAnotherSizeAndStoresNothing)
{
    for (const std::size_t size : {0U, 15U, 17U})
    {
        Bytes record = event(true);
        record.resize(size);
        EXPECT_EQ(object.addSELAndFault(sensor, record), 5);
        EXPECT_EQ(takeSel(),
                  (Lines{sel7 + "addSELAndFault: Entry",
                         sel1 + "addSELAndFault: Record size not valid " +
                             std::to_string(size)}));
    }
    EXPECT_EQ(faults(), Lines{});
}

TEST_F(LmiSelFault, TakesTheRecordAsAStructureToo)
{
    SELInterface::SELRecord record{};
    const Bytes bytes = event(true);
    std::memcpy(&record, bytes.data(), sizeof(record));
    EXPECT_EQ(object.addSELAndFault(sensor, record), 0);
    EXPECT_EQ(journal().count(storing(bytes)), 1u);
    EXPECT_EQ(messages(), Lines{"FAN0001"});
}

TEST_F(LmiSelFault, OnlyStoresWithoutAComponent)
{
    object.connectFaultAndHealth(nullptr);
    EXPECT_EQ(report(true), 0);
    EXPECT_EQ(
        takeSel(),
        join({{sel7 + "addSELAndFault: Entry", storing(event(true))},
              begun,
              {sel7 + "findFaultInfoAndAddFault: ERROR: faultAndHealth is not "
                      "initalized... returning"},
              ended,
              {sel7 + "addSELAndFault: Exiting from addSELAndFault"}}));
    EXPECT_EQ(faults(), Lines{});
}

TEST_F(LmiSelFault, ReportsToTheComponentThatWasConnectedLast)
{
    const auto other = make(root + "/b");
    SELAndFault late;
    Bytes record = event(true);
    late.addSELAndFault(sensor, record);
    EXPECT_EQ(faults(), Lines{});
    late.connectFaultAndHealth(other.get());
    late.addSELAndFault(sensor, record);
    ASSERT_EQ(faults().size(), 1u);
    EXPECT_THAT(faults()[0], testing::StartsWith(root + "/b/entry/"));
}

TEST_F(LmiSelFault, TouchesNoFaultWhenTheRecordIsNotStored)
{
    journal().answer("AddSEL", 0x10000);
    EXPECT_EQ(report(true), 4);
    EXPECT_EQ(takeSel(),
              (Lines{sel7 + "addSELAndFault: Entry", storing(event(true)),
                     sel1 + "addSEL: Error returned : 10000",
                     sel1 + "addSELAndFault: Error in SEL Logging for "
                            "/sensors/fan1"}));
}

TEST_F(LmiSelFault, KeepsTheStoredRecordWhenALaterStepFails)
{
    journal().answer("IPMI_SELCSSDSELAttach", 77);
    EXPECT_EQ(report(true), 2);
    EXPECT_EQ(
        takeSel(),
        join({{sel7 + "addSELAndFault: Entry", storing(event(true))},
              begun,
              {sel1 + "CSSDInfoFetcher: Error in CSSD Attach 77",
               sel1 + "FetchJNLEntryFromSELEvent: Transform cannot be done, "
                      "init failed",
               sel1 + "findFaultInfoAndAddFault: Error in Fetching Event Data "
                      ": 2"},
              ended,
              {sel1 + "addSELAndFault: Error in findFault Logging "
                      "/sensors/fan1"}}));
    EXPECT_EQ(platform().sel.nextRecordId, 2u);
}

TEST_F(LmiSelFault, SucceedsWithoutAComponentEvenWhenItCannotAttach)
{
    object.connectFaultAndHealth(nullptr);
    journal().answer("IPMI_SELCSSDSELAttach", 77);
    EXPECT_EQ(find(true), 0);
}

TEST_F(LmiSelFault, StoresWithTheLargestIdentifier)
{
    journal().answer("AddSEL", 0xffff);
    Bytes record = event(true);
    EXPECT_EQ(object.addSEL(sensor, record), 0);
    EXPECT_EQ(takeSel(), Lines{storing(record)}) << "and no fault";
}

TEST_F(LmiSelFault, LetsTheLogManagerCheckTheSizeWhenItOnlyStores)
{
    Bytes record{1, 2};
    EXPECT_EQ(object.addSEL(sensor, record), 0);
    EXPECT_EQ(takeSel(), Lines{storing(record)});
}

TEST_F(LmiSelFault, LogsAnExceptionOfTheStore)
{
    journal().fail("AddSEL", [] {
        throw std::runtime_error("broken");
    });
    EXPECT_EQ(report(true), 11);
    EXPECT_EQ(takeSel(),
              (Lines{sel7 + "addSELAndFault: Entry", storing(event(true)),
                     sel1 + "addSEL: EXCEPTION broken",
                     sel1 + "addSELAndFault: Error in SEL Logging for "
                            "/sensors/fan1"}));
}

TEST_F(LmiSelFault, EndsWhenTheOppositeHasNoDescription)
{
    journal().answer("TransformSELEventToJNLEntry", 9);
    EXPECT_EQ(find(true), 9);
    EXPECT_EQ(takeSel(),
              join({begun,
                    fetchedOpposite(event(false)),
                    {sel1 + "findFaultInfoAndAddFault: Error in Fetching Event "
                            "Data : 9"},
                    ended}));
}

TEST_F(LmiSelFault, EndsWhenTheEventHasNoDescription)
{
    add(*component, 2, "FAN0002");
    takeSel();
    journal().answer("TransformSELEventToJNLEntry", -9, 1);
    EXPECT_EQ(find(true), -9);
    EXPECT_EQ(takeSel(),
              join({begun,
                    fetchedOpposite(event(false)),
                    removed("FAN0002"),
                    {fetching, transform(event(true)),
                     sel1 + "findFaultInfoAndAddFault: Error in Fetching Event "
                            "Data : -9"},
                    ended}));
    EXPECT_EQ(faults(), Lines{}) << "the removed fault is not added again";
}

TEST_F(LmiSelFault, EndsWhenTheFrontPanelHasNoDescription)
{
    journal().answer("TransformSELEventToLCD", 8);
    EXPECT_EQ(find(true), 8);
    EXPECT_EQ(takeSel(),
              join({begun,
                    fetchedOpposite(event(false)),
                    removed("FAN0002"),
                    {fetching, transform(event(true)), fetchingLcd,
                     transformLcd(event(true)),
                     sel1 + "findFaultInfoAndAddFault: Error in Fetching LCD "
                            "DATA : 8"},
                    ended}));
    EXPECT_EQ(faults(), Lines{});
}

TEST_F(LmiSelFault, EndsWhenTheOppositeHasNoIdentifier)
{
    describe(failed, {.severity = 3, .messageId = "", .message = "?"});
    EXPECT_EQ(find(true), 1);
    EXPECT_EQ(
        takeSel(),
        join({begun,
              fetchedOpposite(event(false)),
              {sel7 + "findFaultInfoAndAddFault: Remove the assert/deassert "
                      "fault ",
               sel1 + "findFaultInfoAndAddFault: Error in Removing Fault : 1"},
              ended}));
    EXPECT_EQ(faults(), Lines{});
}

TEST_F(LmiSelFault, EndsAtTheFirstFaultThatCannotBeRemoved)
{
    describe(failed, {.severity = 3, .messageId = "SEC0031", .message = "?"});
    sensor.path.clear();
    EXPECT_EQ(find(true), 1);
    EXPECT_EQ(
        takeSel(),
        join({begun,
              fetchedOpposite(event(false)),
              {sel7 + "findFaultInfoAndAddFault: Remove the assert/deassert "
                      "fault SEC0031",
               sel1 + "findFaultInfoAndAddFault: Error in Removing Fault : 1"},
              ended}));
}

TEST_F(LmiSelFault, ReturnsTheStatusOfAddingTheFault)
{
    platform().sel.panels[event(true)] = lcdEntry(1, "\xff");
    EXPECT_EQ(find(true), 4);
    const Lines lines = takeSel();
    EXPECT_EQ(Lines(lines.end() - 4, lines.end()),
              join({{adding,
                     sel1 + "findFaultInfoAndAddFault: Error in add/remove(0) "
                            "Fault returning failure : 4"},
                    ended}));
    EXPECT_EQ(faults(), Lines{});
}

TEST_F(LmiSelFault, RemovesBothOfTwoMessagesThatClearEachOther)
{
    describe(failed, {.severity = 3, .messageId = "SEC0031", .message = "?"});
    add(*component, 2, "SEC0031");
    add(*component, 2, "SEC0033");
    add(*component, 2, "SEC0033", "/sensors/fan2");
    takeSel();
    EXPECT_EQ(find(true), 0);
    EXPECT_EQ(messages(), (Lines{"SEC0033", "FAN0001"}));
    const Lines lines = takeSel();
    ASSERT_GT(lines.size(), 9u);
    EXPECT_EQ(Lines(lines.begin() + 5, lines.begin() + 10),
              join({removed("SEC0031"), removed("SEC0033"), {fetching}}));
}

TEST_F(LmiSelFault, ClearsAnExtraMessageForThesePairsOnly)
{
    const auto further = [this](const std::string& messageId) {
        Lines list{"first"};
        object.handleSpecialCasesForRemove(messageId, list);
        return list;
    };
    EXPECT_EQ(further("SEC0031"), (Lines{"first", "SEC0033"}));
    EXPECT_EQ(further("SEC0033"), (Lines{"first", "SEC0031"}));
    for (const char* other :
         {"", "SEC0032", "sec0031", "SEC0031 ", "SEC003", "SEC00311"})
    {
        EXPECT_EQ(further(other), Lines{"first"}) << other;
    }
    EXPECT_EQ(journal().take(), Lines{});
}

TEST_F(LmiSelFault, PassesNoArgumentsWhenTheEventHasNone)
{
    describe({.messageId = "FAN0001", .message = "Failed."}, works);
    find(true);
    ASSERT_EQ(faults().size(), 1u);
    EXPECT_EQ(healthintf::test::text(
                  platform().faultRecords.begin()->second.at("Args")),
              "[]");
}

TEST_F(LmiSelFault, MakesAFaultOfEverySeverityButThree)
{
    for (const auto& [severity, expected] : std::map<uint16_t, uint32_t>{
             {0, 1}, {1, 4}, {2, 3}, {4, 1}, {0x0103, 1}, {0x0300, 1}})
    {
        describe({.severity = severity, .messageId = "A", .message = "a"},
                 works);
        EXPECT_EQ(find(true), 0);
        ASSERT_EQ(faults().size(), 1u) << severity;
        EXPECT_EQ(std::get<uint32_t>(
                      platform().faultRecords.begin()->second.at("Severity")),
                  expected)
            << severity;
        remove(*component, "A");
    }
}

TEST_F(LmiSelFault, RefusesARecordWithoutItsDirectionBeforeItDoesAnything)
{
    for (const std::size_t size : {0U, 12U})
    {
        Bytes record = event(true);
        record.resize(size);
        EXPECT_EQ(object.findFaultInfoAndAddFault(sensor, record), 5);
        EXPECT_EQ(takeSel(),
                  (Lines{sel8 + "findFaultInfoAndAddFault Entry : ",
                         sel1 +
                             "findFaultInfoAndAddFault: Record size not "
                             "valid " +
                             std::to_string(size)}));
    }
}

TEST_F(LmiSelFault, TakesMissingEventDataAsZero)
{
    Bytes record = event(true);
    record.resize(13);
    Bytes whole = record;
    whole.resize(16);
    platform().sel.messages[whole] = jnlEntry(failed);
    whole[12] ^= 0x80;
    platform().sel.messages[whole] = jnlEntry(works);
    EXPECT_EQ(object.findFaultInfoAndAddFault(sensor, record), 0);
    EXPECT_EQ(messages(), Lines{"FAN0001"});
    EXPECT_EQ(record.size(), 13u);
    EXPECT_EQ(journal().count(sel7 + "FetchJNLEntryFromSELEvent: before "
                                     "calling the CSSD Function vector "
                                     "Size:13"),
              2u);
}

TEST_F(LmiSelFault, LeavesTheCallersRecordAlone)
{
    Bytes record = event(true);
    EXPECT_EQ(object.addSELAndFault(sensor, record), 0);
    EXPECT_EQ(record, event(true));
    EXPECT_EQ(sensor.path, "/sensors/fan1");
}

TEST_F(LmiSelFault, IsNotCopied)
{
    EXPECT_FALSE(std::is_copy_constructible_v<SELAndFault>);
    EXPECT_FALSE(std::is_copy_assignable_v<SELAndFault>);
    EXPECT_FALSE((
        std::is_convertible_v<health_namespace::FaultAndHealth*, SELAndFault>));
}

} // namespace
} // namespace logmgr_interface
