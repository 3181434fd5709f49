// SPDX-License-Identifier: Apache-2.0
#include "data_cache/fault_entry_codec.hpp"

#include <gtest/gtest.h>

#include <stdexcept>

namespace healthintf::host
{
namespace
{

using Strings = std::vector<std::string>;

FaultEntryProperties example()
{
    return {.fqdd = "f",
            .messageID = "i",
            .message = "m",
            .args = {"a", "", "c"},
            .timestamp = uint64_t{1} << 40,
            .severity = 4,
            .sensorPath = "p",
            .sensorNumber = 5,
            .sensorType = 6,
            .ledState = -7,
            .lcdMessage = "l",
            .hidden = true};
}

bool same(const FaultEntryProperties& a, const FaultEntryProperties& b)
{
    return a.hidden == b.hidden &&
           encodeFaultEntry(makeView(a)) == encodeFaultEntry(makeView(b));
}

TEST(FaultEntryCodec, ReadsWhatItWrote)
{
    const FaultEntryProperties read =
        decodeFaultEntry(encodeFaultEntry(makeView(example())), 1);
    EXPECT_EQ(read.fqdd, "f");
    EXPECT_EQ(read.messageID, "i");
    EXPECT_EQ(read.message, "m");
    EXPECT_EQ(read.args, (Strings{"a", "", "c"}));
    EXPECT_EQ(read.timestamp, uint64_t{1} << 40);
    EXPECT_EQ(read.severity, 4u);
    EXPECT_EQ(read.sensorPath, "p");
    EXPECT_EQ(read.sensorNumber, 5u);
    EXPECT_EQ(read.sensorType, 6u);
    EXPECT_EQ(read.ledState, -7);
    EXPECT_EQ(read.lcdMessage, "l");
    EXPECT_TRUE(read.hidden);
    EXPECT_TRUE(same(decodeFaultEntry(encodeFaultEntry({}), 0), {}));
}

TEST(FaultEntryCodec, ThrowsOnEveryTruncatedRecord)
{
    const std::string whole = encodeFaultEntry(makeView(example()));
    for (std::size_t size = 0; size < whole.size(); ++size)
    {
        EXPECT_THROW(decodeFaultEntry(whole.substr(0, size), 0),
                     std::out_of_range)
            << size;
    }
}

TEST(FaultEntryCodec, DoesNotTrustTheNumberOfArguments)
{
    std::string bytes = encodeFaultEntry({});
    bytes.replace(bytes.size() - sizeof(uint32_t), sizeof(uint32_t), 4, '\xFF');
    EXPECT_THROW(decodeFaultEntry(bytes, 0), std::out_of_range);
}

TEST(FaultEntryCodec, SetsEveryPropertyByItsName)
{
    FaultEntryView view;
    const Strings args{"a"};
    const std::vector<std::pair<const char*, FaultEntryPropertyVariant>> all{
        {"FQDD", "f"},
        {"MessageID", "i"},
        {"Message", "m"},
        {"Args", args},
        {"Timestamp", uint64_t{1}},
        {"Severity", 2u},
        {"SensorPath", "p"},
        {"SensorNumber", 3u},
        {"SensorType", 4u},
        {"LedState", int32_t{-5}},
        {"LcdMessage", "l"},
        {"Hidden", true}};
    for (const auto& [name, value] : all)
    {
        EXPECT_TRUE(setProperty(view, name, value)) << name;
    }
    EXPECT_TRUE(
        same(decodeFaultEntry(encodeFaultEntry(view), 1), {.fqdd = "f",
                                                           .messageID = "i",
                                                           .message = "m",
                                                           .args = {"a"},
                                                           .timestamp = 1,
                                                           .severity = 2,
                                                           .sensorPath = "p",
                                                           .sensorNumber = 3,
                                                           .sensorType = 4,
                                                           .ledState = -5,
                                                           .lcdMessage = "l",
                                                           .hidden = true}));
}

TEST(FaultEntryCodec, RefusesOtherNamesAndTypes)
{
    FaultEntryView view;
    EXPECT_FALSE(setProperty(view, "fqdd", "f"));
    EXPECT_FALSE(setProperty(view, "", "f"));
    EXPECT_FALSE(setProperty(view, "Severity", "4"));
    EXPECT_FALSE(setProperty(view, "Severity", int32_t{4}));
    EXPECT_FALSE(setProperty(view, "Args", "a"));
    EXPECT_EQ(view.severity, 0u);
}

TEST(FaultEntryCodec, HidesAFaultByItsLiveValueOnly)
{
    const std::string visible = encodeFaultEntry({});
    FaultEntryView entry;
    entry.hidden = true;
    EXPECT_EQ(encodeFaultEntry(entry), visible);
    EXPECT_FALSE(decodeFaultEntry(visible, 0).hidden);
    EXPECT_TRUE(decodeFaultEntry(visible, 1).hidden);
}

} // namespace
} // namespace healthintf::host
