// SPDX-License-Identifier: Apache-2.0
#include "sel_entries.hpp"

#include "../output/time_text.hpp"

#include <nlohmann/json.hpp>

#include <iostream>

namespace healthintf::healthctl
{
namespace
{

using Json = nlohmann::ordered_json;

constexpr uint8_t eventTypeBits = 0x7F;
constexpr uint8_t offsetBits = 0x0F;

/** A text for people, where nothing is said of it. */
std::string orNone(const std::string& text)
{
    return text.empty() ? "none" : text;
}

Json orNull(const std::string& text)
{
    return text.empty() ? Json(nullptr) : Json(text);
}

std::string joined(const std::vector<std::string>& texts)
{
    std::string all;
    for (const std::string& text : texts)
    {
        all += (all.empty() ? "" : ", ") + text;
    }
    return all;
}

unsigned int readGenerator(const SELInterface::SELRecord& record)
{
    return record.generatorId[0] |
           static_cast<unsigned int>(record.generatorId[1]) << 8;
}

/** What only records of a sensor's event have. */
void addEventFields(const ReadEvent& event, Fields& fields)
{
    const auto record = parseFields(event.entry.record());
    const auto& data = record.eventData;
    fields.insert(
        fields.end(),
        {{"Generator", hexByte(record.generatorId[0]) + " " +
                           hexByte(record.generatorId[1])},
         {"Message format", hexByte(record.evmRevision)},
         {"Sensor type", hexByte(record.sensorType)},
         {"Sensor number", hexByte(record.sensorNumber)},
         {"Direction", describeDirection(event)},
         {"Event type", hexByte(record.eventDirectionAndType & eventTypeBits)},
         {"Offset", std::to_string(data[0] & offsetBits)},
         {"Event data",
          hexByte(data[0]) + " " + hexByte(data[1]) + " " + hexByte(data[2])}});
}

void addWords(const EventWords& words, Fields& fields)
{
    fields.insert(fields.end(),
                  {{"Severity", wordFor(words.severity)},
                   {"Message", words.messageId},
                   {"Arguments", orNone(joined(words.arguments))},
                   {"Component", orNone(words.component)},
                   {"LCD text", orNone(words.lcd)},
                   {"LED state", std::to_string(words.ledState)}});
}

Json eventJson(const ReadEvent& event)
{
    const auto record = parseFields(event.entry.record());
    return {{"generator", readGenerator(record)},
            {"format", record.evmRevision},
            {"sensorType", record.sensorType},
            {"sensorNumber", record.sensorNumber},
            {"direction", describeDirection(event)},
            {"eventType", record.eventDirectionAndType & eventTypeBits},
            {"offset", record.eventData[0] & offsetBits},
            {"data", record.eventData}};
}

Json wordsJson(const EventWords& words)
{
    return {{"severity", wordFor(words.severity)},
            {"messageId", words.messageId},
            {"text", words.text},
            {"arguments", words.arguments},
            {"component", words.component},
            {"lcd", words.lcd},
            {"ledState", words.ledState}};
}

} // namespace

std::vector<ReadEvent> described(const std::vector<SELEntry_gen>& entries)
{
    const EventDescriptions descriptions;
    if (!descriptions.attached() && !entries.empty())
    {
        std::cerr << "healthctl: there is no event table that can be used, so "
                     "events are not described; see \"healthctl doctor\"\n";
    }
    std::vector<ReadEvent> events;
    events.reserve(entries.size());
    for (const SELEntry_gen& entry : entries)
    {
        events.push_back({entry, descriptions.describe(entry.record())});
    }
    return events;
}

std::string describeSensor(const ReadEvent& event)
{
    const SELInterface::SensorInfo& sensor = event.entry.sensor();
    if (!sensor.name.empty())
    {
        return sensor.name;
    }
    if (!sensor.path.empty())
    {
        return sensor.path;
    }
    if (event.words && !event.words->component.empty())
    {
        return event.words->component;
    }
    const auto record = parseFields(event.entry.record());
    return isEvent(event.entry.record())
               ? "type " + hexByte(record.sensorType) + ", number " +
                     hexByte(record.sensorNumber)
               : "";
}

std::string describeDirection(const ReadEvent& event)
{
    if (!isEvent(event.entry.record()))
    {
        return "";
    }
    return isAssertion(event.entry.record()) ? "asserted" : "deasserted";
}

std::string describeSeverity(const ReadEvent& event)
{
    return event.words ? wordFor(event.words->severity) : "";
}

std::string momentText(uint32_t seconds)
{
    return comesFromSetClock(seconds)
               ? localTime(seconds)
               : "clock not set, " + std::to_string(seconds) + " s";
}

std::string describeTime(const ReadEvent& event)
{
    return hasTime(event.entry.record()) ? momentText(event.entry.timestamp())
                                         : "";
}

std::string describeText(const ReadEvent& event)
{
    return event.words ? event.words->text : formatDigits(event.entry.record());
}

Fields listFields(const ReadEvent& event)
{
    const SELInterface::SensorInfo& sensor = event.entry.sensor();
    const RawRecord& record = event.entry.record();
    Fields fields{{"Identifier", std::to_string(event.entry.recordId())},
                  {"Time", orNone(describeTime(event))},
                  {"Event", event.words ? event.words->text : "not described"},
                  {"Sensor name", orNone(sensor.name)},
                  {"Sensor path", orNone(sensor.path)},
                  {"Sensor bytes", hexByte(sensor.firstByte) + " " +
                                       hexByte(sensor.secondByte)},
                  {"Record type", hexByte(parseFields(record).recordType)}};
    if (isEvent(record))
    {
        addEventFields(event, fields);
    }
    if (event.words)
    {
        addWords(*event.words, fields);
    }
    fields.emplace_back("Raw", formatDigits(record));
    return fields;
}

nlohmann::ordered_json toJson(const ReadEvent& event)
{
    const SELInterface::SensorInfo& sensor = event.entry.sensor();
    const RawRecord& record = event.entry.record();
    return {
        {"id", event.entry.recordId()},
        {"timestamp",
         hasTime(record) ? Json(event.entry.timestamp()) : Json(nullptr)},
        {"time", hasTime(record) && comesFromSetClock(event.entry.timestamp())
                     ? Json(utcTime(event.entry.timestamp()))
                     : Json(nullptr)},
        {"sensor",
         {{"name", orNull(sensor.name)},
          {"path", orNull(sensor.path)},
          {"bytes", {sensor.firstByte, sensor.secondByte}}}},
        {"recordType", parseFields(record).recordType},
        {"event", isEvent(record) ? eventJson(event) : Json(nullptr)},
        {"description", event.words ? wordsJson(*event.words) : Json(nullptr)},
        {"raw", formatDigits(record)}};
}

} // namespace healthintf::healthctl
