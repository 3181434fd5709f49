// SPDX-License-Identifier: Apache-2.0
#include "faults_at_hand.hpp"
#include "model/silence.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace healthintf::healthctl
{
namespace
{

using testing::ElementsAre;
using testing::IsEmpty;

Silence ofComponent(uint64_t id, const std::string& key)
{
    Silence silence;
    silence.id = id;
    silence.target.key = key;
    return silence;
}

TEST(Silence, IsNotedInTheFaultsThatItHides)
{
    Faults faults{makeFault("/a", "Slow", 3, 0, true),
                  makeFault("/a", "Hot", 3, 0, false),
                  makeFault("/b", "Slow", 3, 0, true)};
    noteSilences(faults, {ofComponent(1, "/a"), ofComponent(2, "/a"),
                          ofComponent(3, "/c")});
    EXPECT_THAT(faults[0].silences, ElementsAre(1, 2));
    EXPECT_THAT(faults[1].silences, IsEmpty()) << "it is visible";
    EXPECT_THAT(faults[2].silences, IsEmpty()) << "another component's";
}

TEST(Silence, IsChosenWhereItHidesAnything)
{
    const Silences all{ofComponent(1, "/a"), ofComponent(2, "/b")};
    Faults faults{makeFault("/b", "Slow", 3, 0, true)};
    noteSilences(faults, all);
    const Silences chosen = chooseSilences(all, faults);
    ASSERT_EQ(chosen.size(), 1U);
    EXPECT_EQ(chosen[0].id, 2U);
}

TEST(Silence, IsChosenByANameOfATarget)
{
    Silences all{ofComponent(1, "/a"), Silence(), Silence()};
    all[1].target.sensorPath = "/sensor";
    all[2].target.sensorNumber = 7;
    const auto count = [&all](const HideTarget& target) {
        return chooseSilences(all, target).size();
    };
    EXPECT_EQ(count({"/a", "", 0}), 1U);
    EXPECT_EQ(count({"", "/sensor", 0}), 1U);
    EXPECT_EQ(count({"", "", 7}), 1U);
    EXPECT_EQ(count({"/a", "/sensor", 7}), 3U);
    EXPECT_EQ(count({"/b", "/other", 8}), 0U);
    EXPECT_EQ(count({"", "", 0}), 0U);
}

} // namespace
} // namespace healthintf::healthctl
