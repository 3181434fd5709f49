// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Writes the records of the log to files, and reads them back. */

#include "raw_records.hpp"

#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

namespace healthintf::healthctl
{

class LogmgrClient;

/** The name that stands for standard input or output. */
inline constexpr const char* standardStream = "-";

/** Replaces the content of a file with records.
 *
 *  @param[in] out used instead of a file named "-"
 *  @throws Error when they cannot be written; the file then stays as it was */
void writeRecords(const std::vector<RawRecord>& records,
                  const std::string& file, std::ostream& out);

/** Reads the records of a file, or of standard input for "-".
 *
 *  @throws Error when they cannot be read, are more than a log can hold, or the
 *          last one is cut */
std::vector<RawRecord> readRecords(const std::string& file);

/** Stores records with their own times. logmgr gives them new identifiers.
 *  Nothing is stored when not all fit.
 *
 *  @return the identifiers
 *  @throws Error; its text says how many were stored before */
std::vector<uint32_t> importRecords(LogmgrClient& log,
                                    const std::vector<RawRecord>& records);

} // namespace healthintf::healthctl
