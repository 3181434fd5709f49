// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Reads arguments and says what is wrong with those it cannot read. */

#include "../error.hpp"
#include "../time_argument.hpp"

#include <CLI/CLI.hpp>

#include <cstdint>
#include <optional>
#include <set>
#include <stdexcept>
#include <string>

namespace healthintf::healthctl
{

/** Reads an argument.
 *
 *  @param[in] read throws std::invalid_argument with what is wrong
 *  @param[in] remedy what to do then
 *  @throws Error for it */
template <typename Read>
auto argument(Read&& read, const char* remedy)
{
    try
    {
        return read();
    }
    catch (const std::invalid_argument& e)
    {
        throw Error(ExitCode::usage, std::string(e.what()) + "; " + remedy);
    }
}

/** The time that an option names, in seconds since the epoch; nothing when it
 *  was not given.
 *
 *  @throws Error when that is no time */
std::optional<int64_t> givenMoment(const std::string& text);

/** The ends of a period as they were given; empty when they were not. */
struct PeriodOptions
{
    std::string since;
    std::string until;
};

/** Adds --since and --until.
 *
 *  @param[out] options must live until the command line is parsed */
void addPeriod(CLI::App& command, PeriodOptions& options);

/** @throws Error when an end is no time */
Period readPeriod(const PeriodOptions& options);

/** Adds --severity for the health values of faults and nodes.
 *
 *  @param[in,out] chosen must live until the command line is parsed */
void addSeverities(CLI::App& command, std::set<uint32_t>& chosen);

/** The text of an option that is for people to read; whether it may be a
 *  comment otherwise, healthmgr says.
 *
 *  @throws Error when D-Bus cannot carry it */
const std::string& givenComment(const std::string& text);

/** The length of time that an option names, in seconds.
 *
 *  @throws Error when that is none */
uint32_t givenSpan(const std::string& text);

} // namespace healthintf::healthctl
