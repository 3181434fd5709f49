// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Records and queries of the history in D-Bus messages. */

#include "history_query.hpp"
#include "record.hpp"

#include <systemd/sd-bus.h>

namespace healthintf::history
{

/** Appends a record, `a{sv}`.
 *
 *  @throws std::system_error */
void appendRecord(sd_bus_message* message, const Record& record);

/** Reads a query, `tbua{sv}`.
 *
 *  @throws std::invalid_argument naming what is wrong with the filter
 *  @throws std::system_error when the message cannot be read */
HistoryQuery readQuery(sd_bus_message* message);

} // namespace healthintf::history
