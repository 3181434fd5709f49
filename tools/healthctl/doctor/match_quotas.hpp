// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file What dbus-broker tells of the match rules of each user. */

#include "match_findings.hpp"

#include <systemd/sd-bus.h>

namespace healthintf::healthctl
{

/** Reads the answer to GetStats.
 *
 *  @return none when it tells of no users, as that of dbus-daemon */
MatchQuotas matchQuotasIn(sd_bus_message* stats);

} // namespace healthintf::healthctl
