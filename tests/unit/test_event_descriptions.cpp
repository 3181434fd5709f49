// SPDX-License-Identifier: Apache-2.0
#include "event_descriptions.hpp"
#include "sel_test.hpp"

namespace health_namespace::details
{
namespace
{

using namespace healthintf::test;

const std::string attaching = sel7 + "CSSDInfoFetcher: Constructor called";
const std::string detached = sel7 + "~CSSDInfoFetcher: Destructor called";

class EventDescriptions : public SelTest
{};

TEST_F(EventDescriptions, AttachAndDetach)
{
    {
        const CSSDInfoFetcher descriptions;
        EXPECT_EQ(takeSel(), (Lines{attaching, "IPMI_SELCSSDSELAttach"}));
    }
    EXPECT_EQ(takeSel(), (Lines{"IPMI_SELCSSDSELDetach", detached}));
}

TEST_F(EventDescriptions, DetachEvenAfterAFailedAttach)
{
    journal().answer("IPMI_SELCSSDSELAttach", -3);
    {
        const CSSDInfoFetcher descriptions;
        EXPECT_EQ(takeSel(),
                  (Lines{attaching, "IPMI_SELCSSDSELAttach",
                         sel1 + "CSSDInfoFetcher: Error in CSSD Attach -3"}));
    }
    EXPECT_EQ(takeSel(), (Lines{"IPMI_SELCSSDSELDetach", detached}));
}

TEST_F(EventDescriptions, AreNotRequestedAfterAFailedAttach)
{
    journal().answer("IPMI_SELCSSDSELAttach", 1);
    const CSSDInfoFetcher descriptions;
    takeSel();
    JnlEntry entry;
    EXPECT_EQ(descriptions.FetchJNLEntryFromSELEvent(event(true), entry), 2);
    EXPECT_EQ(takeSel(),
              Lines{sel1 + "FetchJNLEntryFromSELEvent: Transform cannot be "
                           "done, init failed"});
    LcdEntry lcd;
    EXPECT_EQ(descriptions.FetchLCDEntryFromSELEvent(event(true), lcd), 2);
    EXPECT_EQ(takeSel(),
              Lines{sel1 + "FetchLCDEntryFromSELEvent: Transform cannot be "
                           "done, init failed"});
}

TEST_F(EventDescriptions, ZeroAnEntryBeforeItIsFilledAgain)
{
    platform().sel.messages[event(true)] =
        jnlEntry({.messageId = "A", .message = "long", .description = "here"});
    platform().sel.messages[event(false)] = jnlEntry({.messageId = "B"});
    platform().sel.panels[event(true)] = lcdEntry(3, "text");
    const CSSDInfoFetcher descriptions;
    takeSel();

    JnlEntry entry;
    EXPECT_EQ(descriptions.FetchJNLEntryFromSELEvent(event(true), entry), 0);
    EXPECT_EQ(entry.message(), "long");
    EXPECT_EQ(descriptions.FetchJNLEntryFromSELEvent(event(false), entry), 0);
    EXPECT_EQ(entry.messageId(), "B");
    EXPECT_EQ(entry.description(), "");

    LcdEntry lcd;
    EXPECT_EQ(descriptions.FetchLCDEntryFromSELEvent(event(true), lcd), 0);
    EXPECT_EQ(lcd.ledState(), 3);
    EXPECT_EQ(descriptions.FetchLCDEntryFromSELEvent(event(false), lcd), 0);
    EXPECT_EQ(lcd.ledState(), 0);
    EXPECT_EQ(journal().count("Transform"), 4u);
    for (const auto& line : journal().take("Transform"))
    {
        EXPECT_TRUE(line.ends_with(" zeroed")) << line;
    }
}

TEST_F(EventDescriptions, GiveTheLibrarysErrorNumber)
{
    const CSSDInfoFetcher descriptions;
    JnlEntry entry;
    EXPECT_EQ(descriptions.FetchJNLEntryFromSELEvent(event(true), entry), 1);
    journal().answer("TransformSELEventToLCD", -5);
    LcdEntry lcd;
    EXPECT_EQ(descriptions.FetchLCDEntryFromSELEvent(event(true), lcd), -5);
}

TEST_F(EventDescriptions, PassTheLibraryAsManyBytesAsItReads)
{
    const CSSDInfoFetcher descriptions;
    takeSel();
    Bytes record = event(true);
    record.resize(13);
    JnlEntry entry;
    descriptions.FetchJNLEntryFromSELEvent(record, entry);
    EXPECT_EQ(takeSel(),
              (Lines{sel7 + "FetchJNLEntryFromSELEvent: before calling the "
                            "CSSD Function vector Size:13",
                     "TransformSELEventToJNLEntry " + text(record) +
                         "000000 zeroed"}));
    record.resize(20, 0xee);
    record[13] = record[14] = record[15] = 0;
    LcdEntry lcd;
    descriptions.FetchLCDEntryFromSELEvent(record, lcd);
    record.resize(16);
    EXPECT_EQ(takeSel().back(),
              "TransformSELEventToLCD " + text(record) + " zeroed");
}

} // namespace
} // namespace health_namespace::details
