// SPDX-License-Identifier: Apache-2.0
#include "described_event.hpp"

#include "event_record.hpp"
#include "event_text.hpp"
#include "unknown_event.hpp"

#include <utility>

namespace healthintf::host
{
namespace
{

void setIfGiven(EventValues& values, const char* name, OptionalByte byte)
{
    if (byte)
    {
        values[name] = hexByte(*byte);
    }
}

/** Collects the values for the placeholders of an event's texts. */
EventValues collectValues(const EventRecord& record, const SensorType& sensor,
                          const EventState* state)
{
    const std::string number = hexByte(record.sensorNumber);
    EventValues values{{"category", sensor.category},
                       {"number", number},
                       {"sensor", sensor.name + " sensor " + number}};
    setIfGiven(values, "reading", record.reading);
    setIfGiven(values, "threshold", record.threshold);
    setIfGiven(values, "extension2", record.extension2);
    setIfGiven(values, "extension3", record.extension3);
    if (state != nullptr && record.extension2)
    {
        const auto detail = state->details.find(*record.extension2);
        if (detail != state->details.end())
        {
            values["detail"] = detail->second;
        }
    }
    return values;
}

DescribedEvent fillMessage(const EventMessage& message,
                           const EventValues& values)
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

/** Describes a sensor's event; without a state its meaning is not known. */
DescribedEvent describeSensorTypeEvent(const SensorType& sensor,
                                       const EventRecord& record,
                                       const EventState* state)
{
    const EventValues values = collectValues(record, sensor, state);
    DescribedEvent event =
        state != nullptr ? fillMessage(state->message(record.asserted), values)
                         : fillMessage(unknownMessage(record), values);
    event.component =
        sensor.component + ".Sensor." + hexByte(record.sensorNumber);
    return event;
}

DescribedEvent describeSensorEvent(const EventRecord& record,
                                   const EventTable& table)
{
    const SensorType* sensor = table.sensorType(record.sensorType);
    const EventState* state =
        table.find(record.sensorType, record.eventType, record.offset);
    DescribedEvent event =
        sensor != nullptr
            ? describeSensorTypeEvent(*sensor, record, state)
            : describeSensorTypeEvent(unknownSensorType(record.sensorType),
                                      record, state);
    if (sensor == nullptr || state == nullptr)
    {
        event.id = unknownId(record);
    }
    return event;
}

/** Describes a record that is no sensor event: an OEM or unknown type. */
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
