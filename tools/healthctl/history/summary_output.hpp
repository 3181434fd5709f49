// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file How summaries of faults are written. */

#include "../context.hpp"
#include "fault_summary.hpp"

#include <nlohmann/json_fwd.hpp>

#include <vector>

namespace healthintf::healthctl
{

/** A summary for programs. */
nlohmann::ordered_json toJson(const FaultSummary& summary);

/** Writes summaries for people: a row about each, and its message. */
void printSummaries(const Context& context,
                    const std::vector<FaultSummary>& summaries);

} // namespace healthintf::healthctl
