// SPDX-License-Identifier: Apache-2.0
#include "event_records.hpp"
#include "ipmi_stand_in.hpp"
#include "known_events.hpp"
#include "log_client.hpp"
#include "private_bus.hpp"
#include "process.hpp"
#include "speaks_of.hpp"
#include "temporary_folder.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <set>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace healthintf::test
{
namespace
{

constexpr unsigned int sensorSpecific = 0x6F;
constexpr unsigned int lastEventType = 0x0C;
constexpr unsigned int lastSensorType = 0x2C;

/** ipmitool's description of a record. */
struct Line
{
    unsigned long number = 0;
    std::string sensor;
    std::string text;
    std::string direction;
};

std::string trimmed(const std::string& text)
{
    const auto first = text.find_first_not_of(' ');
    return first == std::string::npos
               ? ""
               : text.substr(first, text.find_last_not_of(' ') + 1 - first);
}

/** The columns of a line: number, date, time, sensor, text, direction. */
Line makeLine(const std::string& columns)
{
    std::istringstream text(columns);
    std::vector<std::string> parts;
    for (std::string part; std::getline(text, part, '|');)
    {
        parts.push_back(trimmed(part));
    }
    parts.resize(6);
    constexpr int hexadecimal = 16;
    return {std::stoul(parts[0], nullptr, hexadecimal), parts[3], parts[4],
            parts[5]};
}

class Ipmitool : public testing::Test
{
  protected:
    Ipmitool()
    {
        setenv("HEALTHINTF_EVENT_PATH", SHIPPED_EVENTS, 1);
    }

    /** The lines that ipmitool prints for a file of raw records, one for each.
     */
    std::vector<Line> read(const std::vector<SensorEvent>& events) const
    {
        std::string raw;
        for (const SensorEvent& event : events)
        {
            const Record record = makeRecord(event);
            raw.append(record.begin(), record.end());
        }
        return read(raw);
    }

    std::vector<Line> read(const std::string& raw) const
    {
        std::istringstream output(
            readOutput({IPMITOOL, "-I", "dummy", "sel", "readraw",
                        folder.write("records", raw).string()},
                       {controller.environment()}));
        std::vector<Line> lines;
        for (std::string line; std::getline(output, line);)
        {
            lines.push_back(makeLine(line));
        }
        return lines;
    }

    TemporaryFolder folder;
    IpmiStandIn controller;
};

TEST_F(Ipmitool, DescribesEachEventAlike)
{
    std::vector<SensorEvent> events;
    std::set<unsigned int> sensorTypes;
    for (const KnownEvent& known : knownEvents())
    {
        events.push_back(known.event);
        sensorTypes.insert(known.event.sensorType);
    }
    ASSERT_EQ(sensorTypes.size(), lastSensorType);
    const std::vector<Line> lines = read(events);
    ASSERT_EQ(lines.size(), events.size());
    const Attached attached;
    ASSERT_EQ(attached.result, 0);
    for (std::size_t i = 0; i < lines.size(); ++i)
    {
        const KnownEvent& known = knownEvents()[i];
        const Described ours = describe(known.event);
        SCOPED_TRACE(lines[i].sensor + ": " + lines[i].text + "\n" + ours.text);
        EXPECT_TRUE(mentions(lines[i].sensor, known.sensor));
        EXPECT_TRUE(mentions(ours.arguments.at(0), known.sensor));
        EXPECT_TRUE(lines[i].sensor.ends_with(" #0x30"));
        EXPECT_TRUE(ours.component.ends_with(".0x30"));
        EXPECT_EQ(lines[i].direction,
                  known.event.asserted ? "Asserted" : "Deasserted");
        for (const std::string& word : known.words)
        {
            EXPECT_TRUE(mentions(lines[i].text, word)) << word;
            EXPECT_TRUE(mentions(ours.text, word)) << word;
        }
    }
}

TEST_F(Ipmitool, ReadsTheLogManagersLog)
{
    const PrivateBus bus;
    LogClient client;
    const Process running = client.start();
    std::vector<SensorEvent> events;
    std::string exported;
    for (const KnownEvent& known : knownEvents())
    {
        events.push_back(known.event);
        const Record record = makeRecord(known.event);
        const auto id = static_cast<uint16_t>(
            client.add(Bytes(record.begin(), record.end())));
        const Bytes stored = client.entry(id).record;
        exported.append(stored.begin(), stored.end());
    }
    const std::vector<Line> lines = read(exported);
    const std::vector<Line> expected = read(events);
    ASSERT_EQ(lines.size(), events.size());
    for (std::size_t i = 0; i < lines.size(); ++i)
    {
        EXPECT_EQ(lines[i].number, i + 1);
        EXPECT_EQ(lines[i].sensor, expected[i].sensor);
        EXPECT_EQ(lines[i].text, expected[i].text);
        EXPECT_EQ(lines[i].direction, expected[i].direction);
    }
}

/** States of the standard that ipmitool may not know. */
bool mayBeUnknownToIpmitool(const SensorEvent& event)
{
    static const std::set<std::pair<unsigned int, unsigned int>> states{
        {0x10, 0x06}, {0x22, 0x0D}, {0x2A, 0x00}, {0x2A, 0x01},
        {0x2A, 0x02}, {0x2A, 0x03}, {0x2B, 0x01}, {0x2B, 0x07}};
    return event.eventType == sensorSpecific &&
           states.contains({event.sensorType, event.offset});
}

/** Every state of every event type and sensor type, defined or not. */
std::vector<SensorEvent> allStates()
{
    std::vector<SensorEvent> events;
    for (unsigned int offset = 0; offset <= 0x0E; ++offset)
    {
        for (unsigned int type = 1; type <= lastEventType; ++type)
        {
            events.push_back(
                {.sensorType = 0x01, .eventType = type, .offset = offset});
        }
        for (unsigned int type = 1; type <= lastSensorType; ++type)
        {
            events.push_back({.sensorType = type,
                              .eventType = sensorSpecific,
                              .offset = offset});
        }
    }
    return events;
}

TEST_F(Ipmitool, KnowsTheSameStatesAsTheEventTable)
{
    const std::vector<SensorEvent> events = allStates();
    const std::vector<Line> lines = read(events);
    ASSERT_EQ(lines.size(), events.size());
    const Attached attached;
    ASSERT_EQ(attached.result, 0);
    for (std::size_t i = 0; i < lines.size(); ++i)
    {
        const Described ours = describe(events[i]);
        const bool weKnow = !ours.id.starts_with("UNK");
        const bool itKnows =
            !lines[i].text.empty() && lines[i].text != "reserved";
        EXPECT_TRUE(weKnow == itKnows ||
                    (weKnow && mayBeUnknownToIpmitool(events[i])))
            << ours.text << "\n"
            << lines[i].sensor << ": " << lines[i].text;
    }
}

} // namespace
} // namespace healthintf::test
