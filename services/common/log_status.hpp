// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file What logmgr says of the System Event Log as a whole. */

#include <systemd/sd-bus.h>

#include <cstdint>
#include <string>

namespace healthintf::services
{

/** The properties of the log's object on the bus. */
struct LogStatus
{
    uint32_t entries = 0;
    uint32_t capacity = 0;
    /** What happens to an event when the log is full: refuse or wrap. */
    std::string policy;
    /** Whether events were refused or dropped since the last clear. */
    bool overflow = false;
    /** Seconds since the epoch; 0 for never. */
    uint32_t lastAddition = 0;
    uint32_t lastErase = 0;
    /** Changes when the log is cleared or begun anew. */
    uint64_t generation = 0;
    /** The identifier of the last entry; 0 without one. */
    uint16_t lastEntry = 0;
};

/** Reads the reply to org.freedesktop.DBus.Properties.GetAll.
 *
 *  @throws std::system_error when it is no map of properties, lacks a property
 *          of LogStatus, or has one of another type */
LogStatus readLogStatus(sd_bus_message* reply);

} // namespace healthintf::services
