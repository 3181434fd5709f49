// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Records of the log as bytes: in files, where they stand one after
 *  another as IPMI programs write and read them, and on the command line. */

#include <platform/sel_interface.hpp>

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace healthintf::healthctl
{

/** A record's bytes. */
using RawRecord = std::array<uint8_t, SELInterface::recordSize>;

/** The type of records of a sensor's event. */
inline constexpr uint8_t eventRecord = 0x02;

/** Takes the content of a file apart.
 *
 *  @throws std::invalid_argument when the last record is cut; its text says at
 *          which offset */
std::vector<RawRecord> recordsIn(std::string_view content);

/** What a file with these records holds. */
std::string formatRecords(const std::vector<RawRecord>& records);

/** Reads a record in hexadecimal digits. Between bytes there may be blanks,
 *  colons, dashes and commas, and before each of them 0x.
 *
 *  @param[in] words the digits, in any number of words
 *  @throws std::invalid_argument when that is no record */
RawRecord parseRecord(const std::vector<std::string>& words);

/** The bytes in hexadecimal digits, with a blank between any two. */
std::string formatDigits(const RawRecord& record);

/** A byte as people write it: 0x5A. */
std::string hexByte(unsigned int byte);

/** Numbers that a record holds. */
uint16_t readId(const RawRecord& record);
uint32_t describeTime(const RawRecord& record);

/** Whether the record has a time: those of some makers' types do not. */
bool hasTime(const RawRecord& record);

/** Whether a time is of a clock that was set: smaller ones count the seconds
 *  since the system started. */
bool comesFromSetClock(uint32_t time);

/** Whether the record is of an event of a sensor; others are their maker's. */
bool isEvent(const RawRecord& record);

/** Whether the event's state begins. */
bool isAssertion(const RawRecord& record);

/** The record with names for its fields. */
SELInterface::SELRecord parseFields(const RawRecord& record);

} // namespace healthintf::healthctl
