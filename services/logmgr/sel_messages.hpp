// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Reads and writes the D-Bus messages of the log's object. */

#include "event_log.hpp"

#include <systemd/sd-bus.h>

namespace healthintf::logmgr
{

/** Reads the event of a call.
 *
 *  @param[in] timed whether the call ends with a timestamp
 *  @throws Refusal when the record or a text has the wrong size */
Event readEvent(sd_bus_message* message, bool timed);

/** The D-Bus error name of a refusal. */
const char* errorName(Refusal::Kind kind);

/** Answers a call with one page of the log as a list.
 *
 *  @return sd-bus's result */
int replyWithList(sd_bus_message* call, const Page& page);

/** Answers a call with one page of the log as a list by sequence numbers, with
 *  the log's generation and the identifier of its last entry.
 *
 *  @return sd-bus's result */
int replyWithList(sd_bus_message* call, const EventLog& events,
                  const Page& page);

/** Answers a call with the first entry of a page.
 *
 *  @return sd-bus's result */
int replyWithEntry(sd_bus_message* call, const Page& page);

} // namespace healthintf::logmgr
