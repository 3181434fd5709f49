// SPDX-License-Identifier: Apache-2.0
#include "acknowledgement_file.hpp"
#include "comment.hpp"
#include "config_refusal.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>

namespace healthintf::healthmgr
{
namespace
{

using testing::HasSubstr;
using testing::IsEmpty;

const std::string entry = "/com/vexa/olvar/health/fan1/entry/Fault_0001_4";

Acknowledgement makeAcknowledgement()
{
    constexpr uint32_t largest = std::numeric_limits<uint32_t>::max();
    return {.fault = {.messageId = "FAN0001",
                      .timestamp = 1'763'900'000,
                      .pid = largest,
                      .startTime = 12'345'678'901},
            .comment = "\"quoted\" and 'so'",
            .user = largest,
            .time = 1'763'900'060};
}

AcknowledgementMap parse(const std::string& text)
{
    return parseAcknowledgements(text, "acknowledgements.toml");
}

std::string refusal(const std::string& text)
{
    return test::catchConfigError([&] {
        parse(text);
    });
}

TEST(AcknowledgementFile, KeepsWhatIsKnownOfEachAcknowledgement)
{
    Acknowledgement other = makeAcknowledgement();
    other.fault.messageId = "";
    const AcknowledgementMap all{{entry, makeAcknowledgement()},
                                 {entry + "0", other}};
    EXPECT_EQ(parse(formatAcknowledgements(all)), all);
    EXPECT_THAT(parse(formatAcknowledgements({})), IsEmpty());
}

TEST(AcknowledgementFile, KnowsThePathOfAFault)
{
    const std::string root = "/com/vexa/olvar/health";
    EXPECT_TRUE(isEntryPath(entry));
    EXPECT_TRUE(isEntryPath(root + "/entry/Fault_0001_4"));
    for (const std::string& bad :
         {std::string(), root, root + "/fan1", std::string("/a/entry/b"),
          entry + "/", root + "/entry/a\nb"})
    {
        EXPECT_FALSE(isEntryPath(bad)) << bad;
    }
    const std::string name = "/entry/Fault_41CC000A_0004";
    const std::string key =
        root + "/" + std::string(510 - root.size() - 1 - name.size(), 'x');
    EXPECT_TRUE(isEntryPath(key + name));
    EXPECT_FALSE(isEntryPath(key + "x" + name));
}

TEST(AcknowledgementFile, HoldsTheMostOfTheLargest)
{
    Acknowledgement large = makeAcknowledgement();
    large.fault.messageId = std::string(maxMessageId, '"');
    large.comment = std::string(maxComment, '\\');
    AcknowledgementMap all;
    const std::string start =
        "/com/vexa/olvar/health/" + std::string(460, 'x') + "/entry/F";
    for (std::size_t i = 0; i < mostAcknowledgements; ++i)
    {
        all[start + std::to_string(i)] = large;
    }
    const std::string text = formatAcknowledgements(all);
    EXPECT_LT(text.size(), 1U << 20U) << "more is not read";
    EXPECT_EQ(parse(text), all);
    all[start] = large;
    EXPECT_THAT(refusal(formatAcknowledgements(all)),
                HasSubstr("more acknowledgements than 256"));
}

TEST(AcknowledgementFile, NamesTheLineThatIsDamaged)
{
    const std::string good =
        "[[acknowledgement]]\nfault = '" + entry + "'\ncomment = 'c'\n";
    EXPECT_EQ(refusal(good), "read");
    EXPECT_THAT(refusal("acknowledgement"),
                HasSubstr("acknowledgements.toml:1"));
    EXPECT_THAT(refusal("acknowledgement = 3"), HasSubstr("must be tables"));
    EXPECT_THAT(refusal("[[acknowledgement]]\ncomment = 'c'"),
                HasSubstr("acknowledgement.fault: "));
    EXPECT_THAT(refusal(good + "other = 1"),
                HasSubstr("acknowledgement.other: is no known key"));
    EXPECT_THAT(
        refusal("[[acknowledgement]]\nfault = '/x'\ncomment = 'c'\n"),
        HasSubstr("acknowledgements.toml:2: acknowledgement.fault: is no"));
    EXPECT_THAT(refusal("[[acknowledgement]]\nfault = '" + entry +
                        "'\ncomment = ' '\n"),
                HasSubstr("acknowledgement.comment: a comment must"));
    EXPECT_THAT(refusal(good + good),
                HasSubstr(":5: acknowledgement.fault: is there twice"));
}

} // namespace
} // namespace healthintf::healthmgr
