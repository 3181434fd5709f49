// SPDX-License-Identifier: Apache-2.0
#include "logmgr/history/record.hpp"
#include "sample_records.hpp"

#include <gtest/gtest.h>

namespace healthintf::history
{
namespace
{

TEST(Kind, HasANameThatIsReadAgain)
{
    for (int number = 1; number <= static_cast<int>(lastKind); ++number)
    {
        const auto kind = static_cast<Kind>(number);
        EXPECT_EQ(parseKind(kindName(kind)), kind) << kindName(kind);
    }
    EXPECT_FALSE(parseKind(""));
    EXPECT_FALSE(parseKind("Appeared"));
}

TEST(TrimText, KeepsATextOfTheLargestSize)
{
    std::string text(longestText, 'a');
    trimText(text);
    EXPECT_EQ(text.size(), longestText);
    text += 'b';
    trimText(text);
    EXPECT_EQ(text, std::string(longestText, 'a'));
}

TEST(TrimText, CutsNoCharacterInTwo)
{
    std::string text = std::string(longestText - 1, 'a') + "\u00e9";
    trimText(text);
    EXPECT_EQ(text, std::string(longestText - 1, 'a'));
}

TEST(TrimText, ReplacesWhatIsNoUtf8)
{
    std::string text = "a\xff\u00e9";
    trimText(text);
    EXPECT_EQ(text, "a?\u00e9");
    text = "a\ufdd0b";
    trimText(text);
    EXPECT_EQ(text, "a???b");
}

TEST(TrimFault, BoundsAllTextsAndArguments)
{
    const std::string large(longestText + 1, 'x');
    Fault fault;
    for (std::string* text :
         {&fault.component, &fault.entry, &fault.messageId, &fault.message,
          &fault.sensorPath, &fault.process})
    {
        *text = large;
    }
    fault.args.assign(mostArguments + 1, large);
    trim(fault);
    Record record;
    record.fault = fault;
    EXPECT_EQ(fault.args.size(), mostArguments);
    EXPECT_EQ(countBytes(record), (6 + mostArguments) * longestText);
}

TEST(Identity, IsThatOfTheSameFault)
{
    Fault again = makeFault();
    again.entry = "another";
    again.pid = 5;
    again.process = "restarted";
    EXPECT_EQ(identityOf(again), identityOf(makeFault()));
}

TEST(Identity, DiffersByComponentMessageArgumentsAndSensor)
{
    const uint64_t known = identityOf(makeFault());
    const auto change = [](auto&& edit) {
        Fault fault = makeFault();
        edit(fault);
        return identityOf(fault);
    };
    EXPECT_NE(change([](Fault& f) {
                  f.component += "s";
              }),
              known);
    EXPECT_NE(change([](Fault& f) {
                  f.messageId += "s";
              }),
              known);
    EXPECT_NE(change([](Fault& f) {
                  f.args = {"Fan1"};
              }),
              known);
    EXPECT_NE(change([](Fault& f) {
                  f.sensorPath = "";
              }),
              known);
    EXPECT_NE(change([](Fault& f) {
                  f.sensorNumber = 4;
              }),
              known);
}

} // namespace
} // namespace healthintf::history
