// SPDX-License-Identifier: Apache-2.0
#include "config_refusal.hpp"
#include "kept_file.hpp"
#include "node_key.hpp"
#include "raised_fault_file.hpp"
#include "raised_faults.hpp"
#include "temporary_folder.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>

namespace healthintf::healthmgr
{
namespace
{

using testing::HasSubstr;
using testing::IsEmpty;

const std::string key = "/com/vexa/olvar/health/pump";

std::string refusal(const std::string& text)
{
    return test::catchConfigError([&] {
        parseRaisedFaults(text, "file");
    });
}

TEST(RaisedFaultFile, KeepsWhatIsKnownOfEachFault)
{
    constexpr uint32_t largest = std::numeric_limits<uint32_t>::max();
    const RaisedFault endless{.message = "Pump.1.0.Stopped",
                              .arguments = {"pump \"1'", "ü\n"},
                              .sensorPath = "/s",
                              .sensorNumber = largest,
                              .trial = false,
                              .end = {}};
    RaisedFault ending = endless;
    ending.sensorPath = "/t";
    ending.arguments.clear();
    ending.trial = true;
    ending.end = std::chrono::seconds(largest) * 1000;
    const RaisedFaultMap faults{{key, {endless, ending}},
                                {key + "/motor", {ending}}};
    EXPECT_EQ(parseRaisedFaults(formatRaisedFaults(faults), "file"), faults);
}

TEST(RaisedFaultFile, IsReadAgainWithAsMuchTextAsThereMayBe)
{
    const RaisedFault longest{
        .message = "M",
        .arguments = {std::string(RaisedFaults::mostText, '\x01')},
        .sensorPath = "/s",
        .end = std::chrono::seconds(static_cast<int64_t>(mostExact))};
    RaisedFaultMap faults;
    for (std::size_t i = 0; i < RaisedFaults::most; ++i)
    {
        const std::string number = std::to_string(i);
        faults[std::string(maxKey - number.size(), 'k') + number] = {longest};
    }
    const test::TemporaryFolder folder;
    KeptFile file(folder.path() / "kept.toml", "the raised faults");
    file.noteChange();
    file.save([&faults] {
        return formatRaisedFaults(faults);
    });
    EXPECT_TRUE(file.read(parseRaisedFaults) == faults);
}

TEST(RaisedFaultFile, MayBeWithoutFaults)
{
    EXPECT_THAT(parseRaisedFaults(formatRaisedFaults({}), "file"), IsEmpty());
    EXPECT_THAT(parseRaisedFaults("", "file"), IsEmpty());
}

TEST(RaisedFaultFile, NamesTheLineOfWhatIsWrong)
{
    EXPECT_THAT(refusal("raised = 1\n"), HasSubstr("file:1: raised"));
    EXPECT_THAT(refusal("[[raised]]\ncomponent = '/a'\nmessage = ''\n"),
                HasSubstr("file:3: raised.message"));
    const std::string whole =
        "[[raised]]\ncomponent = '/a'\nmessage = 'M'\nsensor = '/s'\n";
    EXPECT_EQ(parseRaisedFaults(whole, "file").at("/a").size(), 1U);
    for (const char* wrong :
         {"end = -1\n", "end = 'soon'\n", "number = 4294967296\n",
          "trial = 1\n", "arguments = 'a'\n", "arguments = ['']\n", "x = 1\n"})
    {
        EXPECT_THAT(refusal(whole + wrong), HasSubstr("file:5: raised."))
            << wrong;
    }
}

TEST(RaisedFaultFile, IsRefusedWhenItIsNoToml)
{
    EXPECT_THAT(refusal("[[raised"), HasSubstr("file:1"));
}

} // namespace
} // namespace healthintf::healthmgr
