// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Made-up records of the history. */

#include "history/history_record.hpp"

#include <cstdint>
#include <string>

namespace healthintf::healthctl
{

/** A fault on a component below the root, whose entry has one path. */
inline HistoryRecord makeRecord(const std::string& kind, int64_t time,
                                const std::string& component = "fan",
                                uint32_t severity = 4)
{
    HistoryRecord record;
    record.kind = kind;
    record.time = time;
    record.component = "/com/vexa/olvar/health/" + component;
    record.entry = record.component + "/entry/1";
    record.messageId = "Fan.1.0.Stopped";
    record.message = "The " + component + " has stopped.";
    record.severity = severity;
    return record;
}

/** The same with a sequence number. */
inline HistoryRecord makeNumbered(uint64_t sequence,
                                  const std::string& messageId = "Fan.1.0.Hot")
{
    HistoryRecord record = makeRecord("appeared", 0);
    record.sequence = sequence;
    record.messageId = messageId;
    return record;
}

} // namespace healthintf::healthctl
