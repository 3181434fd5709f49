// SPDX-License-Identifier: Apache-2.0
#include "faults_at_hand.hpp"
#include "output/short_faults.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <optional>
#include <sstream>
#include <string>

namespace healthintf::healthctl
{
namespace
{

using testing::HasSubstr;
using testing::Not;

constexpr uint64_t noon = 12 * 3600;

const Fault slow = makeFault("/com/vexa/olvar/health/fan", "Slow", 3, noon);

std::string print(const Faults& faults, std::optional<std::size_t> width,
                  uint64_t now = noon + 60)
{
    setenv("TZ", "UTC0", 1);
    tzset();
    std::ostringstream out;
    const Context context{
        .out = out, .style = Style(false, true), .width = width};
    printShortFaults(context, faults, now);
    return out.str();
}

TEST(ShortFaults, AreALineEach)
{
    EXPECT_EQ(print({slow, makeFault("/a", "Hot", 4, noon, true)}, {}),
              "• warning   1970-01-01 12:00:00  fan  The message of Slow"
              "          Slow\n"
              "• critical  1970-01-01 12:00:00  /a   The message of Hot"
              "   hidden  Hot\n");
}

TEST(ShortFaults, SayWhatIsSilencedAndForTrial)
{
    FaultEntryProperties properties;
    properties.message = "It is hot.";
    properties.messageID = "Hot";
    properties.severity = 4;
    properties.fqdd = "HealthManager.Trial";
    Fault fault{"/a/entry/x", FaultEntry_gen(properties)};
    EXPECT_THAT(print({fault}, 80), HasSubstr("It is hot.  trial\n"));
    fault.silences = {3};
    EXPECT_THAT(print({fault}, 80),
                HasSubstr("It is hot.  silence 3, trial\n"));
}

TEST(ShortFaults, HaveABriefTimeAndNoIdentifierOnANarrowTerminal)
{
    EXPECT_EQ(print({slow}, 80),
              "• warning  12:00:00  fan  The message of Slow\n");
    EXPECT_EQ(print({slow}, 80, noon + 86400),
              "• warning  1970-01-01  fan  The message of Slow\n");
    EXPECT_EQ(print({slow}, 159),
              "• warning  12:00:00  fan  The message of Slow\n");
    EXPECT_EQ(print({slow}, 160),
              "• warning  1970-01-01 12:00:00  fan  The message of Slow  "
              "Slow\n");
}

TEST(ShortFaults, ShortenLongTextsToTheTerminal)
{
    const Fault fault = makeFault("/a/" + std::string(60, 'k'),
                                  "begin" + std::string(90, 'm') + "end", 4);
    for (const std::size_t width : {1U, 20U, 40U, 80U, 200U})
    {
        const std::string line = print({fault}, width);
        EXPECT_EQ(std::ranges::count(line, '\n'), 1) << line;
    }
    EXPECT_THAT(print({fault}, 80), HasSubstr("begin…m"));
    EXPECT_THAT(print({fault}, 80), HasSubstr("end\n"));
}

TEST(ShortFaults, EscapeControlCharacters)
{
    EXPECT_THAT(print({makeFault("/a", "\x1b[2J\n", 4)}, {}),
                Not(HasSubstr("\x1b")));
}

TEST(ShortFaults, AreForWideTerminals)
{
    std::ostringstream out;
    EXPECT_FALSE(isWideTerminal({.out = out, .width = {}}));
    EXPECT_FALSE(isWideTerminal({.out = out, .width = 159}));
    EXPECT_TRUE(isWideTerminal({.out = out, .width = 160}));
}

} // namespace
} // namespace healthintf::healthctl
