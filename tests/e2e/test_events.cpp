// SPDX-License-Identifier: Apache-2.0
/** @file Events travel from a sensor to the operator through the installed
 *  library and services; busctl and Python act as clients. */

#include "bus_client.hpp"
#include "event_daemons.hpp"
#include "event_records.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>

namespace healthintf::test
{
namespace
{

using testing::HasSubstr;
using testing::MatchesRegex;

const std::string root = "/com/vexa/olvar/health";
const std::string key = root + "/power";
const std::string sensor = "/sensors/psu1";
constexpr unsigned int sensorNumber = 0x63;

std::string callLog(const std::vector<std::string>& arguments)
{
    std::vector<std::string> all{"call", "com.vexa.olvar.logmgr",
                                 "/com/vexa/olvar/logmgr/SEL",
                                 "com.vexa.olvar.logmgr.SEL"};
    all.insert(all.end(), arguments.begin(), arguments.end());
    return busctl(all);
}

/** A power supply fails or recovers. */
Record powerSupplyFailure(unsigned int sensorNumber, bool asserted = true)
{
    constexpr unsigned int powerSupply = 0x08;
    constexpr unsigned int sensorSpecific = 0x6f;
    constexpr unsigned int failureDetected = 1;
    return makeRecord({.sensorType = powerSupply,
                       .eventType = sensorSpecific,
                       .offset = failureDetected,
                       .asserted = asserted,
                       .sensorNumber = sensorNumber});
}

/** The bytes of a record as busctl shows them, without those that logmgr fills
 *  in. */
std::string shownFromSensor(const Record& record)
{
    constexpr std::size_t filledIn = 7;
    std::string shown;
    for (std::size_t i = filledIn; i < record.size(); ++i)
    {
        shown += " " + std::to_string(record[i]);
    }
    return shown;
}

class Events : public testing::Test
{
  protected:
    Events()
    {
        EXPECT_EQ(daemon.hear(), "ready");
        daemonName = findConnection(daemon.pid());
    }

    /** The paths of the component's fault entries. */
    std::vector<std::string> faults() const
    {
        std::vector<std::string> paths;
        for (const auto& [path, interfaces] : client.objects(daemonName))
        {
            if (path.find("/entry/") != std::string::npos)
            {
                paths.push_back(path);
            }
        }
        return paths;
    }

    std::string property(const std::string& path, const std::string& name) const
    {
        return busctl({"get-property", daemonName, path,
                       "com.vexa.olvar.healthmgr.FaultEntry", name});
    }

    void report(const Record& record)
    {
        EXPECT_EQ(daemon.ask(sensor + " " + formatDigits(record)), "0")
            << daemon.errors();
    }

    ServiceBus services;
    BusClient client;
    Process daemon{{compiledExample("sensor_events"), key}};
    std::string daemonName;
};

TEST_F(Events, RaiseAFaultThatAnOperatorSeesAndItsDeassertionClears)
{
    report(powerSupplyFailure(sensorNumber));
    client.waitForHealth(root, 4);
    EXPECT_EQ(busctl({"get-property", "com.vexa.olvar.healthmgr", root,
                      "com.vexa.olvar.healthmgr.HealthStatus", "HealthStatus"}),
              "u 4\n");
    ASSERT_EQ(faults().size(), 1u);
    const std::string fault = faults().front();
    EXPECT_THAT(property(fault, "Message"),
                MatchesRegex("s \".*[Pp]ower supply.*fail.*\"\n"));
    EXPECT_THAT(property(fault, "LcdMessage"),
                MatchesRegex("s \".*(PSU|[Pp]ower).*fail.*\"\n"));
    EXPECT_EQ(property(fault, "SensorPath"), "s \"" + sensor + "\"\n");
    EXPECT_EQ(property(fault, "SensorNumber"), "u 99\n");
    EXPECT_EQ(property(fault, "SensorType"), "u 8\n");
    EXPECT_EQ(property(fault, "Severity"), "u 4\n");
    const std::string one = callLog({"ListEntries", "qu", "0", "10"});
    EXPECT_THAT(one, testing::StartsWith("a(qu(ssyy)ay)q 1 1 "));
    EXPECT_THAT(one, HasSubstr("\"psu1\" \"" + sensor + "\""));
    EXPECT_THAT(one,
                HasSubstr(shownFromSensor(powerSupplyFailure(sensorNumber))));

    report(powerSupplyFailure(sensorNumber, false));
    client.waitForHealth(root, 2);
    EXPECT_THAT(faults(), testing::IsEmpty());
    const std::string two = callLog({"ListEntries", "qu", "0", "10"});
    EXPECT_THAT(two, testing::StartsWith("a(qu(ssyy)ay)q 2 1 "));
    EXPECT_THAT(two, HasSubstr(shownFromSensor(
                         powerSupplyFailure(sensorNumber, false))));
}

/** Calls AddSEL from Python. */
std::string addSel(const std::string& signature, const std::string& arguments)
{
    return readOutput({"/usr/bin/python3", ADD_SEL, signature, arguments});
}

TEST_F(Events, AreTakenFromPython)
{
    const std::string digits = formatDigits(powerSupplyFailure(sensorNumber));
    const std::string psu = R"(["psu1", "/sensors/psu1", 1, 2])";
    const auto add = [&psu](const std::string& record) {
        return addSel("(ssyy)ay", "[" + psu + ", \"" + record + "\"]");
    };
    EXPECT_EQ(add(digits), "1\n");
    EXPECT_EQ(add(digits), "2\n");
    EXPECT_THAT(add(digits.substr(2)), HasSubstr("15"));
    EXPECT_THAT(add(digits + "00"), HasSubstr("17"));
    EXPECT_THAT(add(""), HasSubstr("Error"));
    EXPECT_THAT(addSel("ay", "[\"" + digits + "\"]"), HasSubstr("Error"));
    EXPECT_THAT(addSel("(ssyy)s", "[" + psu + ", \"text\"]"),
                HasSubstr("Error"));
    EXPECT_EQ(add(digits), "3\n");
    EXPECT_THAT(callLog({"ListEntries", "qu", "0", "10"}),
                testing::StartsWith("a(qu(ssyy)ay)q 3 "));
}

TEST_F(Events, OfTheFirmwareReachOnlyTheSubscribersOfTheirSensor)
{
    Process seven({compiledExample("bios_events"), "7"});
    Process nine({compiledExample("bios_events"), "9"});
    Process all({compiledExample("bios_events"), "0"});
    for (Process* each : {&seven, &nine, &all})
    {
        ASSERT_EQ(each->hear(), "listening");
    }
    const std::string ofSeven = formatDigits(powerSupplyFailure(7));
    const std::string ofNine = formatDigits(powerSupplyFailure(9));
    const std::string lastOfSeven = formatDigits(powerSupplyFailure(7, false));
    for (const std::string& digits : {ofSeven, ofNine, lastOfSeven})
    {
        EXPECT_EQ(daemon.ask(sensor + " " + digits), "0");
    }
    EXPECT_EQ(nine.hear(), ofNine);
    EXPECT_EQ(seven.hear(), ofSeven);
    EXPECT_EQ(seven.hear(), lastOfSeven);
    EXPECT_EQ(all.hear(), ofSeven);
    EXPECT_EQ(all.hear(), ofNine);
    EXPECT_EQ(all.hear(), lastOfSeven);
    // Each has received its own events; no further signal is under way.
    client.catchUp();
    for (Process* each : {&seven, &nine})
    {
        each->signal(SIGTERM);
        EXPECT_EQ(each->output(), "");
    }
}

} // namespace
} // namespace healthintf::test
