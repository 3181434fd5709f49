// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file How explanations of messages are written. */

#include "line_output.hpp"

#include <nlohmann/json_fwd.hpp>

#include <string>
#include <vector>

#include <explanation.hpp>

namespace healthintf::healthctl
{

/** The arguments of a fault. */
using Values = std::vector<std::string>;

/** An explanation with all that it says. */
nlohmann::ordered_json toJson(const host::Explanation& explanation);

/** The same with the arguments that a fault has for the message. */
nlohmann::ordered_json toJson(const host::Explanation& explanation,
                              const Values& values);

/** All of an explanation for people. */
Fields listFields(const host::Explanation& explanation);

/** What an explanation adds to a fault: what the message means, what to do, and
 *  the fault's arguments with their names. */
Fields listFields(const host::Explanation& explanation, const Values& values);

} // namespace healthintf::healthctl
