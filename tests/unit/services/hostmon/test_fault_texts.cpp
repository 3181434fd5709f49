// SPDX-License-Identifier: Apache-2.0
#include "component_faults.hpp"
#include "fault_texts.hpp"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <fstream>
#include <string>
#include <vector>

namespace healthintf::hostmon
{
namespace
{

const std::vector<Subject> subjects{
    Filesystem{},       Memory{},       Load{},          Pressure{"cpu", 60},
    Pressure{"memory"}, Pressure{"io"}, {Temperature{}}, ProcessAlive{}};

TEST(MessagesOfTheHost, AreInTheRegistryThatComesWithTheProject)
{
    const auto registry = nlohmann::json::parse(std::ifstream(HOST_REGISTRY));
    const auto find = [&](const std::string& id) {
        const std::string prefix = "HostMonitor.1.0.";
        EXPECT_EQ(id.substr(0, prefix.size()), prefix);
        return registry["Messages"].value(id.substr(prefix.size()),
                                          nlohmann::json());
    };
    for (const Subject& subject : subjects)
    {
        const FaultTexts texts = selectFaultTexts(subject);
        const auto warning = find(selectMessageId(texts, Level::warning));
        const auto critical = find(selectMessageId(texts, Level::critical));
        ASSERT_FALSE(warning.is_null()) << texts.kind;
        ASSERT_FALSE(critical.is_null()) << texts.kind;
        EXPECT_EQ(warning["MessageSeverity"], "Warning");
        EXPECT_EQ(critical["MessageSeverity"], "Critical");
        EXPECT_EQ(warning["NumberOfArgs"], 3);
        EXPECT_EQ(critical["NumberOfArgs"], 3);
    }
    for (const char* id : {unreadableId, stillUnreadableId})
    {
        EXPECT_EQ(find(id)["NumberOfArgs"], 2);
        EXPECT_EQ(find(id)["MessageSeverity"], "Warning");
    }
    EXPECT_EQ(find(moreFaultsId)["NumberOfArgs"], 2);
    EXPECT_EQ(find(moreFaultsId)["MessageSeverity"], "Warning");
    EXPECT_EQ(find(moreCriticalFaultsId)["NumberOfArgs"], 2);
    EXPECT_EQ(find(moreCriticalFaultsId)["MessageSeverity"], "Critical");
}

TEST(SensorPathOfTheHost, KeepsDifferentNamesDifferent)
{
    EXPECT_EQ(makeSensorPath("filesystem", "/var"),
              "/com/vexa/olvar/sensors/filesystem/_2fvar");
    EXPECT_NE(makeSensorPath("filesystem", "/a/b"),
              makeSensorPath("filesystem", "/a_b"));
    EXPECT_EQ(makeSensorPath("filesystem", "\xC3\xA9"),
              "/com/vexa/olvar/sensors/filesystem/_c3_a9");
}

TEST(KeyOfADevice, BeginsWithNoOtherDevicesKey)
{
    EXPECT_EQ(makeDeviceKey("/a", "nvme/0000:02"), "/a/nvme_2f0000_3a02__");
    for (const std::string longer : {"1-10", "1-1.2", "1-1_", "1-1__", "1-1/"})
    {
        EXPECT_FALSE(
            makeDeviceKey("/a", longer).starts_with(makeDeviceKey("/a", "1-1")))
            << longer;
    }
}

TEST(SensorTypeOfTheHost, IsThatOfIpmi)
{
    EXPECT_EQ(selectFaultTexts(Temperature{}).sensorType, 0x01u);
    EXPECT_EQ(selectFaultTexts(Load{}).sensorType, 0x07u);
    EXPECT_EQ(selectFaultTexts(Memory{}).sensorType, 0x0Cu);
    EXPECT_EQ(selectFaultTexts(Filesystem{}).sensorType, 0x0Du);
    EXPECT_EQ(selectFaultTexts(Pressure{"cpu"}).sensorType, 0x07u);
    EXPECT_EQ(selectFaultTexts(Pressure{"memory"}).sensorType, 0x0Cu);
    EXPECT_EQ(selectFaultTexts(Pressure{"io"}).sensorType, 0x0Du);
    EXPECT_EQ(selectFaultTexts(ProcessAlive{}).sensorType, 0x28u);
}

TEST(NumbersForPeople, HaveOneDigitAfterThePoint)
{
    EXPECT_EQ(formatNumber(95), "95.0");
    EXPECT_EQ(formatNumber(0.25), "0.2");
    EXPECT_EQ(formatNumber(-3.14), "-3.1");
}

} // namespace
} // namespace healthintf::hostmon
