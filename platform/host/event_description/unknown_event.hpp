#pragma once

/** @file What stands in for the table where it has nothing. */

#include "event_table_file.hpp"

#include <string>

namespace healthintf::host
{

struct EventRecord;

/** The identifier of a sensor event without a meaning, of its sensor type,
 *  event type, offset and direction: UNKC06F3A. None of the table begins so. */
std::string unknownId(const EventRecord& record);

/** The identifier of a record that is no sensor event: UNKRC0. */
std::string unknownRecordId(const EventRecord& record);

/** A sensor type that the table does not have. */
SensorType unknownSensorType(uint8_t code);

/** What to say of an event whose meaning is not known. */
EventMessage unknownMessage(const EventRecord& record);

} // namespace healthintf::host
