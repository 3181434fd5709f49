// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Entries of the log in words, for people and for programs. */

#include "../output/line_output.hpp"
#include "sel_filter.hpp"

#include <nlohmann/json_fwd.hpp>

#include <cstdint>
#include <string>
#include <vector>

namespace healthintf::healthctl
{

/** Adds the description of each entry. */
std::vector<ReadEvent> described(const std::vector<SELEntry_gen>& entries);

/** What a person knows the sensor by: its name, else its path, else its type
 *  and number. */
std::string describeSensor(const ReadEvent& event);

/** asserted or deasserted; empty for what is no event of a sensor. */
std::string describeDirection(const ReadEvent& event);

/** The severity's word; empty when the platform has none. */
std::string describeSeverity(const ReadEvent& event);

/** A time of the log in local time; the seconds alone of a clock that was not
 *  set. */
std::string momentText(uint32_t seconds);

/** When it was, as momentText(); empty for a record without a time. */
std::string describeTime(const ReadEvent& event);

/** What happened; the record's bytes when the platform has no words. */
std::string describeText(const ReadEvent& event);

/** Every field of an entry: what it is, and its value. */
Fields listFields(const ReadEvent& event);

/** Every field of an entry, for programs. */
nlohmann::ordered_json toJson(const ReadEvent& event);

} // namespace healthintf::healthctl
