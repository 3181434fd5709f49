// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file How faults are written. */

#include "../context.hpp"
#include "../source/health_source.hpp"

#include <nlohmann/json_fwd.hpp>

#include <optional>
#include <string>

#include <explanation.hpp>

namespace healthintf::healthctl
{

/** What is to know of a fault besides its message, in words: what hides it,
 *  "hidden" or the numbers of silences, and whether it is for "trial"; empty
 * for any other fault. */
std::string marksInWords(const Fault& fault);

/** Who has acknowledged a fault, in words; empty for nobody. */
std::string acknowledgementInWords(const Fault& fault);

/** Who has acknowledged a fault, for programs. */
nlohmann::ordered_json toJson(const Acknowledgement& acknowledgement);

/** A fault with all that it says. */
nlohmann::ordered_json toJson(const Fault& fault);

nlohmann::ordered_json toJson(const Faults& faults);

/** The same with the explanation of each fault's message. */
nlohmann::ordered_json toJson(const Faults& faults,
                              const host::Explanations& explanations);

/** Writes faults for people: a row about each, then its message.
 *
 *  @param[in] explanations if any, of the messages by their identifiers; each
 *             is written below its faults */
void printFaults(const Context& context, const Faults& faults,
                 const std::optional<host::Explanations>& explanations = {});

} // namespace healthintf::healthctl
