// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file How silences are written. */

#include "../context.hpp"
#include "../model/silence.hpp"

#include <nlohmann/json_fwd.hpp>

#include <string>

namespace healthintf::healthctl
{

/** The faults of a target in words, such as "storage/backup" and "sensor
 *  number 48". */
std::string targetInWords(const HideTarget& target);

nlohmann::ordered_json toJson(const Silence& silence);

nlohmann::ordered_json toJson(const Silences& silences);

/** Writes silences for people: a row about each, then its comment. */
void printSilences(const Context& context, const Silences& silences);

/** Writes below faults what hides them: a line about each silence. */
void writeSilences(const Context& context, const Silences& silences);

} // namespace healthintf::healthctl
