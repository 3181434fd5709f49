// SPDX-License-Identifier: Apache-2.0
#include "component_test.hpp"

#include <hmi_component.hpp>

#include <gmock/gmock.h>

#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>
#include <variant>

namespace health_namespace
{
namespace
{

using namespace healthintf::test;
using testing::ElementsAre;
using testing::IsEmpty;

static_assert(!std::is_copy_constructible_v<Component>);
static_assert(std::is_nothrow_move_constructible_v<Component>);
static_assert(std::is_nothrow_move_assignable_v<Component>);

class ComponentClass : public ComponentTest
{
  protected:
    ComponentClass()
    {
        platform().messages["Fan.Slow"] = {2, "%1 is slow: %2"};
        platform().messages["Fan.Failed"] = {1, "%1 failed"};
    }

    /** The only fault record. */
    static const auto& record()
    {
        return platform().faultRecords.at(faults().at(0));
    }

    template <typename Value>
    static Value recorded(const std::string& property)
    {
        return std::get<Value>(record().at(property));
    }
};

TEST_F(ComponentClass, HoldsItsNodeAsLongAsItLives)
{
    {
        const Component fan(bus, key);
        EXPECT_EQ(health(), healthOk);
        EXPECT_EQ(fan.ownHealth(), healthOk);
    }
    EXPECT_FALSE(platform().healthRecords.contains(key));
}

TEST_F(ComponentClass, HasTheBaseHealthThatItWasGiven)
{
    const Component fan(bus, key, healthWarning);
    EXPECT_EQ(health(), healthWarning);
    EXPECT_EQ(fan.ownHealth(), healthWarning);
}

TEST_F(ComponentClass, ThrowsWithTheKeyWhenItCannotBeHeld)
{
    try
    {
        const Component wrong(bus, "no key");
        FAIL() << "it was made";
    }
    catch (const std::runtime_error& e)
    {
        EXPECT_STREQ(e.what(), "unable to hold the component no key");
    }
    EXPECT_FALSE(platform().healthRecords.contains("no key"));
}

TEST_F(ComponentClass, ReportsAFaultWithAllThatItWasToldOfIt)
{
    Component fan(bus, key);
    const std::string two = "300";
    EXPECT_EQ(fan.add({.message = "Fan.Slow",
                       .arguments = {"Fan 1", two},
                       .sensorPath = "/sensors/fan1",
                       .sensorNumber = 48,
                       .sensorType = 4,
                       .fqdd = "Fan.1"}),
              statusOk);
    ASSERT_EQ(faults().size(), 1U);
    EXPECT_EQ(recorded<std::string>("MessageID"), "Fan.Slow");
    EXPECT_EQ(recorded<std::string>("Message"), "Fan 1 is slow: 300");
    EXPECT_EQ(recorded<std::vector<std::string>>("Args"),
              (std::vector<std::string>{"Fan 1", "300"}));
    EXPECT_EQ(recorded<std::string>("SensorPath"), "/sensors/fan1");
    EXPECT_EQ(recorded<uint32_t>("SensorNumber"), 48U);
    EXPECT_EQ(recorded<uint32_t>("SensorType"), 4U);
    EXPECT_EQ(recorded<std::string>("FQDD"), "Fan.1");
    EXPECT_EQ(fan.ownHealth(), healthWarning);
    EXPECT_EQ(health(), healthWarning);
}

TEST_F(ComponentClass, TakesPartsOfLongerTexts)
{
    Component fan(bus, key);
    const std::string_view line = "Fan.Failed Fan 1 /sensors/fan1";
    EXPECT_EQ(fan.add({.message = line.substr(0, 10),
                       .arguments = {line.substr(11, 5)},
                       .sensorPath = line.substr(17)}),
              statusOk);
    EXPECT_EQ(recorded<std::string>("Message"), "Fan 1 failed");
    EXPECT_EQ(fan.remove(line.substr(0, 10), line.substr(17)), statusOk);
    EXPECT_THAT(faults(), IsEmpty());
}

TEST_F(ComponentClass, SaysThatTheRegistryHasNoSuchMessage)
{
    Component fan(bus, key);
    EXPECT_EQ(fan.add({.message = "Fan.Unheard"}), statusNotRead);
    EXPECT_THAT(faults(), IsEmpty());
}

TEST_F(ComponentClass, SaysThatATextCannotBeCarried)
{
    Component fan(bus, key);
    EXPECT_EQ(fan.add({.message = "Fan.Failed", .sensorPath = "\xff"}),
              statusNotCreated);
    EXPECT_THAT(faults(), IsEmpty());
    EXPECT_EQ(health(), healthOk);
}

TEST_F(ComponentClass, TakesBackOnlyTheFaultsOfTheMessageAndSensor)
{
    Component fan(bus, key);
    ASSERT_EQ(fan.add({.message = "Fan.Slow", .sensorPath = "/a"}), statusOk);
    ASSERT_EQ(fan.add({.message = "Fan.Slow", .sensorPath = "/b"}), statusOk);
    ASSERT_EQ(fan.add({.message = "Fan.Failed", .sensorPath = "/a"}), statusOk);
    EXPECT_EQ(health(), healthCritical);
    EXPECT_EQ(fan.remove("Fan.Failed", "/a"), statusOk);
    EXPECT_THAT(messages(), ElementsAre("Fan.Slow", "Fan.Slow"));
    EXPECT_EQ(health(), healthWarning);
    EXPECT_EQ(fan.remove("Fan.Slow", ""), statusInvalidArgument);
    EXPECT_THAT(messages(), ElementsAre("Fan.Slow", "Fan.Slow"));
}

TEST_F(ComponentClass, TakesBackAllFaultsAlsoThoseWithoutASensor)
{
    Component fan(bus, key);
    ASSERT_EQ(fan.add({.message = "Fan.Slow"}), statusOk);
    ASSERT_EQ(fan.add({.message = "Fan.Failed", .sensorPath = "/a"}), statusOk);
    fan.removeAll();
    EXPECT_THAT(faults(), IsEmpty());
    EXPECT_EQ(health(), healthOk);
}

TEST_F(ComponentClass, KeepsItsFaultsWhenItIsMoved)
{
    Component fan(bus, key);
    ASSERT_EQ(fan.add({.message = "Fan.Slow", .sensorPath = "/a"}), statusOk);
    const FaultAndHealth* const owned = &fan.faultAndHealth();
    Component moved(std::move(fan));
    EXPECT_EQ(&moved.faultAndHealth(), owned);
    EXPECT_EQ(moved.ownHealth(), healthWarning);
    EXPECT_EQ(moved.remove("Fan.Slow", "/a"), statusOk);
    EXPECT_EQ(health(), healthOk);
}

TEST_F(ComponentClass, GivesUpItsOwnNodeWhenAnotherIsMovedIntoIt)
{
    const std::string other = root + "/b";
    Component fan(bus, key);
    fan = Component(bus, other);
    EXPECT_FALSE(platform().healthRecords.contains(key));
    EXPECT_TRUE(platform().healthRecords.contains(other));
}

TEST_F(ComponentClass, LendsTheObjectForAllElse)
{
    Component fan(bus, key);
    ASSERT_EQ(fan.add({.message = "Fan.Failed", .sensorPath = "/a"}), statusOk);
    fan.faultAndHealth().HideAllFaults(true);
    EXPECT_EQ(fan.ownHealth(), healthOk);
}

} // namespace
} // namespace health_namespace
