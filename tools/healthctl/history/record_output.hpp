// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file How records of the history are written. */

#include "../context.hpp"
#include "history_record.hpp"

#include <nlohmann/json_fwd.hpp>

#include <string>
#include <vector>

namespace healthintf::healthctl
{

/** The schema of a document with a list of records. */
inline constexpr const char* historySchema = "healthctl.history/1";

/** The name of the list. */
inline constexpr const char* historyList = "records";

/** A record for programs; null stands for what logmgr does not say. */
nlohmann::ordered_json toJson(const HistoryRecord& record);

/** What has happened, in words. */
std::string describe(const HistoryRecord& record);

/** Writes records for people as rows of one table. */
void printRecords(const Context& context,
                  const std::vector<HistoryRecord>& records);

/** Writes one record for people, in columns that those of others fit to as far
 *  as that can be known. */
void printRecord(const Context& context, const HistoryRecord& record);

} // namespace healthintf::healthctl
