// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Where readings come from. */

#include "subject.hpp"

#include <chrono>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

namespace healthintf::hostmon
{

/** Something that can be read repeatedly. */
struct Source
{
    /** Its name for people, for example "/var" or "coretemp/temp1
     *  (coretemp.0)". */
    std::string name;
    /** Identifies it among all sources of its kind, and never changes. */
    std::string id;
    /** Reads the current value, in the unit of the subject.
     *
     *  Throws std::runtime_error with the cause when it cannot. Refers to
     *  nothing outside of itself, as it may run on any thread. */
    std::function<double()> read;
    /** Chip and device, for example "coretemp/coretemp.0", when the device gets
     *  a component of its own; otherwise empty. */
    std::string device{};
    /** The file that is read, if it may become another one while hostmon runs;
     *  otherwise empty. */
    std::string inputFile{};
};

/** How many timeouts one child process may take for a read before another one
 *  replaces it. */
inline constexpr int timeoutsPerChild = 6;

/** Makes the sources of a subject: one, or for temperatures one for each
 *  matching sensor.
 *
 *  @param[in] subject what is watched
 *  @param[in] root the folder that holds proc and sys; empty for the machine's
 *  own
 *  @param[in] timeout how long a reading may take before its source counts as
 *  blocked */
std::vector<Source>
makeSources(const Subject& subject, const std::filesystem::path& root,
            std::chrono::microseconds timeout = std::chrono::seconds(10));

} // namespace healthintf::hostmon
