// SPDX-License-Identifier: Apache-2.0
#include "history/picture_output.hpp"
#include "history_records.hpp"
#include "output/text.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <cstdlib>
#include <ctime>
#include <optional>
#include <sstream>
#include <string>

namespace healthintf::healthctl
{
namespace
{

using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

constexpr int64_t hour = 3600;
constexpr int64_t millisecondsOfHour = hour * 1000;

class PictureOutput : public testing::Test
{
  protected:
    PictureOutput()
    {
        setenv("TZ", "UTC0", 1);
        tzset();
        const auto add = [this](const std::string& component, uint32_t severity,
                                int64_t begin, int64_t end) {
            picture.take(
                makeRecord("appeared", 0, component, severity),
                {begin * millisecondsOfHour, end * millisecondsOfHour});
        };
        add("rack/fan", 4, 6, 8);
        add("rack/psu", 3, 7, 18);
        add("rack/psu", 1, 2, 3);
    }

    /** A day, of which the last four hours are yet to come. */
    HealthPicture picture{"/com/vexa/olvar/health",
                          {.begin = 0, .length = hour, .count = 24},
                          {millisecondsOfHour, 20 * millisecondsOfHour}};

    std::string print(std::optional<std::size_t> width, const Style& style)
    {
        std::ostringstream out;
        const Context context{.out = out, .style = style, .width = width};
        printPicture(context, picture);
        return out.str();
    }
};

TEST_F(PictureOutput, HasARowForEachComponent)
{
    EXPECT_EQ(print({}, Style(false, true)),
              "1970-01-01 00:00:00 to 1970-01-02 00:00:00\n"
              "                        00:00       12:00\n"
              "/com/vexa/olvar/health   ·?···██▄▄▄▄▄▄▄▄▄▄··\n"
              "rack/fan                 ·····██············\n"
              "rack/psu                 ·?····▄▄▄▄▄▄▄▄▄▄▄··\n"
              "█ critical  ▄ warning  ? unknown  · OK  blank: not recorded  "
              "a column is 1h\n");
}

TEST_F(PictureOutput, NeedsNoMoreThanAscii)
{
    const std::string drawn = print({}, Style(false, false));
    EXPECT_THAT(drawn,
                HasSubstr("rack/psu                 .?....+++++++++++..\n"));
    EXPECT_THAT(drawn, HasSubstr("# critical  + warning  ? unknown  . OK"));
    for (const char each : drawn)
    {
        EXPECT_GE(each, '\n');
    }
}

TEST_F(PictureOutput, FitsTerminals)
{
    picture.take(makeRecord("appeared", 0, std::string(100, 'k')), {0, 1});
    for (const std::size_t width : {80U, 200U})
    {
        std::istringstream lines(print(width, Style(false, true)));
        for (std::string line; std::getline(lines, line);)
        {
            EXPECT_LE(countColumns(line), width) << line;
        }
    }
    EXPECT_THAT(print(80, Style(false, true)), HasSubstr("kkk…kkk"));
}

TEST_F(PictureOutput, HasAsManySlicesAsFit)
{
    std::ostringstream out;
    const auto count = [&out](std::optional<std::size_t> width, bool json) {
        return countSlices({.out = out, .width = width, .json = json});
    };
    EXPECT_EQ(count(80, false), 52U);
    EXPECT_EQ(count(200, false), 166U);
    EXPECT_EQ(count({}, false), 52U);
    EXPECT_EQ(count(11, false), 11U);
    EXPECT_EQ(count(12, false), 6U);
    EXPECT_EQ(count(1, false), 2U);
    EXPECT_EQ(count(200, true), 52U);
}

TEST_F(PictureOutput, ColoursTheSlices)
{
    EXPECT_THAT(print({}, Style(true, true)),
                HasSubstr("\x1b[31;1m██\x1b[0m\x1b[33m▄▄"));
}

TEST_F(PictureOutput, EscapesWhatMisleads)
{
    picture.take(makeRecord("appeared", 0, "a\x1b[31m"), {0, hour});
    EXPECT_THAT(print({}, Style(false, true)), Not(HasSubstr("\x1b")));
}

TEST_F(PictureOutput, HasWordsForPrograms)
{
    const auto json = toJson(picture);
    EXPECT_EQ(json["begin"], 0);
    EXPECT_EQ(json["beginTime"], "1970-01-01T00:00:00Z");
    EXPECT_EQ(json["sliceSeconds"], hour);
    EXPECT_EQ(json["slices"], 24);
    EXPECT_EQ(json["cut"], false);
    ASSERT_EQ(json["components"].size(), 3U);
    const auto& psu = json["components"][2];
    EXPECT_EQ(psu["component"], "/com/vexa/olvar/health/rack/psu");
    EXPECT_EQ(psu["health"][0], "not recorded");
    EXPECT_EQ(psu["health"][1], "OK");
    EXPECT_EQ(psu["health"][2], "unknown");
    EXPECT_EQ(psu["health"][7], "warning");
    EXPECT_EQ(json["components"][1]["health"][7], "critical");
}

} // namespace
} // namespace healthintf::healthctl
