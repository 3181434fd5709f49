#pragma once

/** @file The log's records from and to files. */

#include "raw_records.hpp"

#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

namespace healthintf::healthctl
{

class LogService;

/** The name that stands for standard input or output. */
inline constexpr const char* standardStream = "-";

/** Writes records to a file, in the place of what it held, for good.
 *
 *  @param[in] out where they go to instead of a file named "-"
 *  @throws Error when they cannot be written; the file is as it was then */
void writeRecords(const std::vector<RawRecord>& records,
                  const std::string& file, std::ostream& out);

/** Reads the records of a file, or of standard input for "-".
 *
 *  @throws Error when they cannot be read, are more than a log can hold, or the
 *          last one is cut */
std::vector<RawRecord> readRecords(const std::string& file);

/** Stores records with the times that they have. The log manager gives them
 *  new identifiers. Nothing is stored when not all fit.
 *
 *  @return the identifiers
 *  @throws Error; its text says how many were stored before */
std::vector<uint32_t> importRecords(LogService& log,
                                    const std::vector<RawRecord>& records);

} // namespace healthintf::healthctl
