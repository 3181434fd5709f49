// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file The silences of healthmgr, and the faults that they hide. */

#include "../source/health_source.hpp"
#include "hide_target.hpp"

#include <cstdint>
#include <string>
#include <vector>

namespace healthintf::healthctl
{

/** Faults that an operator has hidden for a time. */
struct Silence
{
    uint64_t id = 0;
    HideTarget target;
    std::string comment;
    /** The operator's user id. */
    uint32_t user = 0;
    /** Seconds since the epoch. */
    int64_t since = 0;
    int64_t until = 0;
};

/** In the order of their numbers. */
using Silences = std::vector<Silence>;

/** Notes in each hidden fault which silences hide it. */
void noteSilences(Faults& faults, const Silences& silences);

/** The silences that hide any of these faults, in the order of their
 *  numbers. */
Silences chooseSilences(const Silences& silences, const Faults& faults);

/** The silences of a name that a target has. They hide again what somebody
 *  shows by this name. */
Silences chooseSilences(const Silences& silences, const HideTarget& target);

} // namespace healthintf::healthctl
