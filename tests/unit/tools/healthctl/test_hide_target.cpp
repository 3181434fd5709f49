// SPDX-License-Identifier: Apache-2.0
#include "model/hide_target.hpp"

#include <gtest/gtest.h>

#include <string>
#include <utility>

namespace healthintf::healthctl
{
namespace
{

Fault makeFault(const std::string& key, const std::string& name,
                const std::string& sensorPath, uint32_t sensorNumber,
                bool hidden = false)
{
    FaultEntryProperties properties;
    properties.messageID = name;
    properties.sensorPath = sensorPath;
    properties.sensorNumber = sensorNumber;
    properties.hidden = hidden;
    return {key + "/entry/" + name, FaultEntry_gen(std::move(properties))};
}

const Faults all{
    makeFault("/rack/fan", "slow", "/sensors/fan", 7),
    makeFault("/rack/fan", "hot", "/sensors/heat", 8),
    makeFault("/rack/fan2", "slow", "/sensors/fan", 7),
    makeFault("/rack/fan2", "gone", "/sensors/fan", 9, true),
    makeFault("/rack", "open", "", 0),
};

void expectCounts(const HideTarget& target, std::size_t faults,
                  std::size_t components)
{
    const TargetCounts counts = countTargets(target, all);
    EXPECT_EQ(counts.faults, faults);
    EXPECT_EQ(counts.components, components);
}

TEST(HideTarget, NamesAllFaultsOfAComponentWithoutItsDescendants)
{
    expectCounts({"/rack/fan", "", 0}, 2, 1);
    expectCounts({"/rack", "", 0}, 1, 1);
}

TEST(HideTarget, NamesAComponentWithoutFaults)
{
    expectCounts({"/rack/psu", "", 0}, 0, 1);
}

TEST(HideTarget, NamesTheFaultsOfASensorInAllComponentsHiddenOnesToo)
{
    expectCounts({"", "/sensors/fan", 0}, 3, 2);
    expectCounts({"", "", 7}, 2, 2);
    expectCounts({"", "/sensors/none", 0}, 0, 0);
    expectCounts({"", "", 10}, 0, 0);
}

TEST(HideTarget, NamesByNumberOnlyWithoutAPath)
{
    expectCounts({"", "/sensors/heat", 7}, 1, 1);
}

TEST(HideTarget, NamesFaultsOfTheComponentAndOfTheSensorElsewhere)
{
    expectCounts({"/rack/fan", "/sensors/fan", 0}, 4, 2);
    expectCounts({"/rack", "", 9}, 2, 2);
}

TEST(HideTarget, IsDescribedByTheNumbersOfComponentsAndFaults)
{
    EXPECT_EQ(describeTargets(true, {.faults = 1, .components = 1}),
              "Asked 1 component to hide 1 fault.");
    EXPECT_EQ(describeTargets(false, {.faults = 3, .components = 2}),
              "Asked 2 components to show 3 faults.");
    EXPECT_EQ(describeTargets(true, {.faults = 0, .components = 1}),
              "Asked 1 component to hide 0 faults.");
    EXPECT_EQ(describeTargets(true, {}),
              "No component has a fault of this sensor.");
}

} // namespace
} // namespace healthintf::healthctl
