// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sel/raw_records.hpp>

#include <stdexcept>
#include <string>
#include <vector>

namespace healthintf::healthctl
{
namespace
{

using testing::HasSubstr;

constexpr RawRecord fanRecord{0x34, 0x12, 0x02, 0x01, 0x02, 0x03, 0x04, 0x20,
                              0x00, 0x04, 0x04, 0x07, 0x81, 0x57, 0x11, 0x22};

/** The error message of a failed read. */
template <typename Read>
std::string catchComplaint(Read&& read)
{
    try
    {
        read();
        return "";
    }
    catch (const std::invalid_argument& e)
    {
        return e.what();
    }
}

TEST(RawRecords, ComeBackFromTheContentOfAFile)
{
    RawRecord other = fanRecord;
    other[0] = 0xFF;
    const std::vector<RawRecord> records{fanRecord, other};
    const std::string content = formatRecords(records);
    EXPECT_EQ(content.size(), 32);
    EXPECT_EQ(recordsIn(content), records);
}

TEST(RawRecords, AreNoneInAnEmptyFile)
{
    EXPECT_TRUE(recordsIn("").empty());
    EXPECT_EQ(formatRecords({}), "");
}

TEST(RawRecords, NameThePlaceWhereTheLastOneIsCut)
{
    const std::string content = formatRecords({fanRecord, fanRecord});
    EXPECT_THAT(catchComplaint([&] {
                    recordsIn(content.substr(0, 31));
                }),
                HasSubstr("offset 16 is cut: it has 15 bytes"));
    EXPECT_THAT(catchComplaint([&] {
                    recordsIn(content.substr(0, 1));
                }),
                HasSubstr("offset 0 is cut: it has 1 bytes"));
}

TEST(RawRecords, AreReadHoweverTheirDigitsAreGrouped)
{
    EXPECT_EQ(parseRecord({"34120201020304200004040781571122"}), fanRecord);
    EXPECT_EQ(parseRecord({"3412 02 01020304", "2000:04-04,07 81", "571122"}),
              fanRecord);
    EXPECT_EQ(parseRecord({"0x34", "0X12", "2", "1", "2", "3", "4", "20", "0",
                           "4", "4", "7", "81", "57", "11", "22"}),
              fanRecord);
}

TEST(RawRecords, NameTextThatIsNoRecord)
{
    EXPECT_THAT(catchComplaint([] {
                    parseRecord({"0102"});
                }),
                HasSubstr("16 bytes, and 2 are given"));
    EXPECT_THAT(catchComplaint([] {
                    parseRecord({});
                }),
                HasSubstr("0 are given"));
    EXPECT_THAT(catchComplaint([] {
                    parseRecord({"123"});
                }),
                HasSubstr("odd number of digits"));
    EXPECT_THAT(catchComplaint([] {
                    parseRecord({"0g"});
                }),
                HasSubstr("\"0g\" is no byte"));
    EXPECT_THAT(catchComplaint([] {
                    parseRecord({"0x"});
                }),
                HasSubstr("\"\" is no byte"));
}

TEST(RawRecords, AreWrittenAsTheyAreRead)
{
    EXPECT_EQ(formatDigits(fanRecord),
              "34 12 02 01 02 03 04 20 00 04 04 07 81 57 11 22");
    EXPECT_EQ(parseRecord({formatDigits(fanRecord)}), fanRecord);
    EXPECT_EQ(hexByte(0x5A), "0x5A");
    EXPECT_EQ(hexByte(0), "0x00");
}

TEST(RawRecords, HoldTheirNumbersLowByteFirst)
{
    EXPECT_EQ(readId(fanRecord), 0x1234);
    EXPECT_EQ(describeTime(fanRecord), 0x04030201);
    EXPECT_EQ(parseFields(fanRecord).sensorNumber, 0x07);
}

TEST(RawRecords, KnowTheirType)
{
    EXPECT_TRUE(isEvent(fanRecord));
    EXPECT_FALSE(isAssertion(fanRecord));
    RawRecord record = fanRecord;
    record[12] = 0x01;
    EXPECT_TRUE(isAssertion(record));
    record[2] = 0xDF;
    EXPECT_FALSE(isEvent(record));
    EXPECT_TRUE(hasTime(record));
    record[2] = 0xE0;
    EXPECT_FALSE(hasTime(record));
}

} // namespace
} // namespace healthintf::healthctl
