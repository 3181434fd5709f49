// SPDX-License-Identifier: Apache-2.0
#include "history/health_picture.hpp"
#include "history_records.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace healthintf::healthctl
{
namespace
{

using testing::ElementsAre;
using testing::SizeIs;

const std::string root = "/com/vexa/olvar/health";

/** Ten slices of ten seconds, from 1000 s on. */
constexpr TimeSlices slices{.begin = 1000, .length = 10, .count = 10};
constexpr TimeSpan allTime{.begin = 0, .end = 9'000'000};

/** Seconds as a span of milliseconds. */
constexpr TimeSpan seconds(int64_t begin, int64_t end)
{
    return {.begin = begin * 1000, .end = end * 1000};
}

HistoryRecord faultOf(const std::string& component, uint32_t severity)
{
    return makeRecord("appeared", 0, component, severity);
}

/** Each row: the component below the root, and a letter for each slice. */
std::vector<std::string> describe(const HealthPicture& picture)
{
    std::vector<std::string> all;
    for (const PictureRow& row : picture.rows())
    {
        std::string text = row.component.substr(root.size()) + " ";
        for (const SliceHealth health : row.slices)
        {
            text += " .?wc"[static_cast<int>(health)];
        }
        all.push_back(text);
    }
    return all;
}

TEST(HealthPicture, ShowsTheSlicesThatAFaultTouches)
{
    HealthPicture picture(root, slices, allTime);
    picture.take(faultOf("fan", 4), seconds(1020, 1041));
    picture.take(faultOf("psu", 3), seconds(1090, 1100));
    EXPECT_THAT(describe(picture), ElementsAre(" ..ccc....w", "/fan ..ccc.....",
                                               "/psu .........w"));
}

TEST(HealthPicture, ShowsTheWorstOfASlice)
{
    HealthPicture picture(root, slices, allTime);
    picture.take(faultOf("fan", 3), seconds(1000, 1050));
    picture.take(faultOf("fan", 4), seconds(1021, 1022));
    picture.take(faultOf("fan", 1), seconds(1040, 1060));
    picture.take(faultOf("fan", 2), seconds(1070, 1080));
    EXPECT_EQ(describe(picture)[1], "/fan wwcww?....");
}

TEST(HealthPicture, ShowsAnInstant)
{
    HealthPicture picture(root, slices, allTime);
    picture.take(faultOf("fan", 4), seconds(1030, 1030));
    EXPECT_EQ(describe(picture)[1], "/fan ...c......");
}

TEST(HealthPicture, LeavesOutWhatIsBeforeAndBehindIt)
{
    HealthPicture picture(root, slices, allTime);
    picture.take(faultOf("a", 4), seconds(900, 999));
    picture.take(faultOf("b", 4), seconds(1100, 1200));
    EXPECT_THAT(describe(picture), ElementsAre(" .........."));
    picture.take(faultOf("c", 4), seconds(900, 1011));
    picture.take(faultOf("d", 3), seconds(1085, 1200));
    EXPECT_THAT(describe(picture),
                ElementsAre(" cc......ww", "/c cc........", "/d ........ww"));
}

TEST(HealthPicture, IsBlankWhereNothingIsRecorded)
{
    HealthPicture picture(root, slices, seconds(1025, 1070));
    picture.take(faultOf("fan", 4), seconds(1050, 1070));
    EXPECT_THAT(describe(picture),
                ElementsAre("   ...cc   ", "/fan   ...cc   "));
    EXPECT_THAT(describe(HealthPicture(root, slices, seconds(10, 20))),
                ElementsAre("           "));
    EXPECT_THAT(describe(HealthPicture(root, slices, seconds(2000, 3000))),
                ElementsAre("           "));
}

TEST(HealthPicture, GivesAComponentTheHealthOfThoseBelow)
{
    HealthPicture picture(root + "/rack", slices, allTime);
    picture.take(faultOf("rack", 3), seconds(1000, 1010));
    picture.take(faultOf("rack/box", 3), seconds(1010, 1020));
    picture.take(faultOf("rack/box/fan", 4), seconds(1020, 1030));
    picture.take(faultOf("rack/boxer", 4), seconds(1050, 1060));
    EXPECT_THAT(describe(picture),
                ElementsAre("/rack wwc..c....", "/rack/box .wc.......",
                            "/rack/box/fan ..c.......",
                            "/rack/boxer .....c...."));
}

TEST(HealthPicture, HasALimitOfRows)
{
    HealthPicture picture(root, slices, allTime);
    for (std::size_t i = 0; i < HealthPicture::mostRows; ++i)
    {
        picture.take(faultOf("fan" + std::to_string(i), 3),
                     seconds(1000, 1010));
    }
    EXPECT_FALSE(picture.isCut());
    picture.take(faultOf("fan0", 3), seconds(1010, 1020));
    EXPECT_FALSE(picture.isCut());
    picture.take(faultOf("other", 4), seconds(1090, 1100));
    EXPECT_TRUE(picture.isCut());
    EXPECT_THAT(picture.rows(), SizeIs(HealthPicture::mostRows + 1));
    EXPECT_EQ(describe(picture)[0], " ww.......c");
}

} // namespace
} // namespace healthintf::healthctl
