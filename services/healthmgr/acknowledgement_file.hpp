// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file The file in which healthmgr keeps the acknowledgements: a TOML file
 *  with a table for each one. */

#include "fault_identity.hpp"

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>

namespace healthintf::healthmgr
{

/** Says that somebody sees to a fault. */
struct Acknowledgement
{
    FaultIdentity fault;
    std::string comment;
    /** Who acknowledged it. */
    uint32_t user = 0;
    /** When, in seconds since the epoch. */
    int64_t time = 0;

    friend bool operator==(const Acknowledgement&,
                           const Acknowledgement&) = default;
};

/** Acknowledgements by the paths of their faults' entries. */
using AcknowledgementMap = std::map<std::string, Acknowledgement>;

/** How many acknowledgements there may be. */
inline constexpr std::size_t mostAcknowledgements = 256;

/** Whether a text may be the path of a fault's entry. */
bool isEntryPath(const std::string& path);

/** Reads the content of the file.
 *
 *  @param[in] name the file's name, for errors
 *  @throws services::ConfigError when it is damaged, or has something that
 *          healthmgr does not write */
AcknowledgementMap parseAcknowledgements(const std::string& text,
                                         const std::string& name);

/** The file's content. */
std::string formatAcknowledgements(const AcknowledgementMap& all);

} // namespace healthintf::healthmgr
