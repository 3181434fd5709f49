// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file How faults are written. */

#include "../context.hpp"
#include "../source/health_source.hpp"

#include <nlohmann/json_fwd.hpp>

namespace healthintf::healthctl
{

/** A fault with all that it says. */
nlohmann::ordered_json toJson(const Fault& fault);

nlohmann::ordered_json toJson(const Faults& faults);

/** Writes faults for people: a row about each, then its message. */
void printFaults(const Context& context, const Faults& faults);

} // namespace healthintf::healthctl
