// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Judges the bus and the services on it. */

#include "finding.hpp"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace healthintf::healthctl
{

/** The way to the bus. */
struct BusState
{
    std::string address;
    /** Why there is no connection; empty when there is one. */
    std::string failure;
};

/** A service by its bus name. */
struct ServiceState
{
    /** The program's name. */
    std::string program;
    std::string name;
    /** The process that owns the name; 0 for none. */
    uint32_t pid = 0;
    bool activatable = false;
    /** Whether it answers, if it runs. */
    bool answers = true;
};

/** Something that the bus's policy allows this user or not. */
struct Attempt
{
    enum class Result
    {
        allowed,
        denied,
        notTried,
        failed,
    };

    /** Identifies the attempt among the checks. */
    std::string check;
    /** What was tried, in words. */
    std::string what;
    Result result = Result::notTried;
    /** Why it was not tried, or how it failed. */
    std::string why;
    /** Who alone is meant to be allowed it, in words; null for everybody. */
    const char* reservedFor = nullptr;
};

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

/** A process's open files. */
struct OpenFiles
{
    std::string program;
    uint32_t pid = 0;
    std::size_t open = 0;
    std::size_t limit = 0;
};

Finding makeFinding(const BusState& bus);
Finding makeFinding(const ServiceState& service);

/** @param[in] root whether the attempt was root's */
Finding makeFinding(const Attempt& attempt, bool root);

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
Finding makeFinding(const OpenFiles& files);

} // namespace healthintf::healthctl
