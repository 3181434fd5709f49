#include "described_event.hpp"

#include "event_record.hpp"
#include "event_text.hpp"
#include "unknown_event.hpp"

#include <utility>

namespace healthintf::host
{
namespace
{

void setIf(EventValues& values, const char* name, OptionalByte byte)
{
    if (byte)
    {
        values[name] = hexByte(*byte);
    }
}

/** What a record has for the placeholders of a text. */
EventValues valuesOf(const EventRecord& record, const SensorType& sensor,
                     const EventDetails& details)
{
    const std::string number = hexByte(record.sensorNumber);
    EventValues values{{"category", sensor.category},
                       {"number", number},
                       {"sensor", sensor.name + " sensor " + number}};
    setIf(values, "reading", record.reading);
    setIf(values, "threshold", record.threshold);
    setIf(values, "extension2", record.extension2);
    setIf(values, "extension3", record.extension3);
    if (record.extension2 && details.contains(*record.extension2))
    {
        values["detail"] = details.at(*record.extension2);
    }
    return values;
}

DescribedEvent inWords(const EventMessage& message, const EventValues& values)
{
    FilledText text = fillText(message.text, values);
    return {.severity = message.severity,
            .id = fillText(message.id, values).text,
            .text = std::move(text.text),
            .arguments = std::move(text.arguments),
            .component = {},
            .lcd = fillText(message.lcd, values).text,
            .ledState = message.ledState};
}

DescribedEvent describeSensorEvent(const EventRecord& record,
                                   const EventTable& table)
{
    const SensorType* known = table.sensorType(record.sensorType);
    const SensorType sensor =
        known != nullptr ? *known : unknownSensorType(record.sensorType);
    const EventState* state =
        table.find(record.sensorType, record.eventType, record.offset);
    const EventMessage message = state != nullptr
                                     ? state->message(record.asserted)
                                     : unknownMessage(record);
    DescribedEvent event = inWords(
        message, valuesOf(record, sensor,
                          state != nullptr ? state->details : EventDetails{}));
    if (known == nullptr || state == nullptr)
    {
        event.id = unknownId(record);
    }
    event.component =
        sensor.component + ".Sensor." + hexByte(record.sensorNumber);
    return event;
}

/** An OEM record, or one of a type that the standard does not have. */
DescribedEvent describeOtherRecord(const EventRecord& record)
{
    const std::string type = hexByte(record.recordType);
    return {.severity = EventSeverity::informational,
            .id = unknownRecordId(record),
            .text = "A record of type " + type +
                    " was logged, which is no event of a sensor.",
            .arguments = {type},
            .component = "System.Record." + type,
            .lcd = "Record of type " + type,
            .ledState = LedState::none};
}

} // namespace

DescribedEvent describe(const EventRecord& record, const EventTable& table)
{
    return record.recordType == systemEventRecord
               ? describeSensorEvent(record, table)
               : describeOtherRecord(record);
}

} // namespace healthintf::host
