#pragma once

/** @file Events and entries in the messages of the log's object. */

#include "event_log.hpp"

#include <systemd/sd-bus.h>

namespace healthintf::logmgr
{

/** Takes the event out of a call.
 *
 *  @param[in] timed whether its time stands behind it
 *  @throws Refusal for what is no event record */
Event readEvent(sd_bus_message* message, bool timed);

/** The name of the error that says why something is not done. */
const char* errorName(Refusal::Kind kind);

/** Answers a call with one page of the log as a list.
 *
 *  @return what sd-bus says */
int replyWithList(sd_bus_message* call, const Page& page);

/** Answers a call with one page of the log as a list by sequence numbers, with
 *  the log's generation and the identifier of its last entry.
 *
 *  @return what sd-bus says */
int replyWithList(sd_bus_message* call, const EventLog& events,
                  const Page& page);

/** Answers a call with the first entry of a page.
 *
 *  @return what sd-bus says */
int replyWithEntry(sd_bus_message* call, const Page& page);

} // namespace healthintf::logmgr
