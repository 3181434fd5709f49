// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Descriptions of events that the table does not have. */

#include "event_table_file.hpp"

#include <string>

namespace healthintf::host
{

struct EventRecord;

/** The identifier of an unknown sensor event, made of sensor type, event type,
 *  offset and direction, for example UNKC06F3A. No identifier of the table
 *  begins with UNK. */
std::string unknownId(const EventRecord& record);

/** The identifier of a record that is no sensor event, for example UNKRC0. */
std::string unknownRecordId(const EventRecord& record);

/** A sensor type that the table does not have. */
SensorType unknownSensorType(uint8_t code);

/** The message of an event whose meaning is not known. */
EventMessage unknownMessage(const EventRecord& record);

} // namespace healthintf::host
