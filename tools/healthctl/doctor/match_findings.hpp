// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Judges how near connections and users are to the bus's limit of match
 *  rules. */

#include "finding.hpp"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace healthintf::healthctl
{

/** A connection's match rules. */
struct MatchUse
{
    std::string owner;
    uint32_t rules = 0;
};

/** The match rules of all connections, of one at least; nothing when the bus
 *  does not tell. */
using MatchUses = std::optional<std::vector<MatchUse>>;

/** How many match rules a connection may have, as far as it was tried. */
struct MatchLimit
{
    uint32_t made = 0;
    /** Whether the bus refused one more. */
    bool isLimit = false;
};

/** A user's match rules on a bus that bounds those of all connections of a user
 *  together. */
struct MatchQuota
{
    std::string user;
    uint32_t rules = 0;
    /** How many the bus allows. */
    uint32_t most = 0;
};

/** The match rules of all users; none when the bus does not tell. */
using MatchQuotas = std::vector<MatchQuota>;

/** How many rules a connection must be able to have for no other one to be
 *  near its limit; nothing when the bus does not tell of rules, or when they
 *  are too many to be tried. */
std::optional<uint32_t> rulesToTry(const MatchUses& uses);

/** @param[in] limit what was tried with as many rules; nothing when it was not
 *             or failed */
Finding makeFinding(const MatchUses& uses,
                    const std::optional<MatchLimit>& limit);

/** @param[in] quotas one at least */
Finding makeFinding(const MatchQuotas& quotas);

} // namespace healthintf::healthctl
