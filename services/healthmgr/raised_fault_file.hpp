// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file The file in which healthmgr keeps the faults that operators have
 *  raised: a TOML file with a table for each fault. */

#include <chrono>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace healthintf::healthmgr
{

/** A fault that an operator has raised. */
struct RaisedFault
{
    std::string message;
    /** None of them is empty. */
    std::vector<std::string> arguments;
    /** Not empty. */
    std::string sensorPath;
    uint32_t sensorNumber = 0;
    /** Whether it is marked as a trial. */
    bool trial = false;
    /** When it ends by itself, by the clock that begins with the boot. */
    std::optional<std::chrono::seconds> end;

    friend bool operator==(const RaisedFault&, const RaisedFault&) = default;
};

/** The faults by the keys of their components; none is without faults. */
using RaisedFaultMap = std::map<std::string, std::vector<RaisedFault>>;

/** Reads the content of the file.
 *
 *  @param[in] name the file's name, for errors
 *  @throws services::ConfigError when it is damaged */
RaisedFaultMap parseRaisedFaults(const std::string& text,
                                 const std::string& name);

/** The file's content. */
std::string formatRaisedFaults(const RaisedFaultMap& faults);

} // namespace healthintf::healthmgr
