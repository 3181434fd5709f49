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

/** Something that can be read again and again. */
struct Source
{
    /** What it is, for people, for example "/var" or
     *  "coretemp/temp1 (coretemp.0)". */
    std::string name;
    /** What tells it apart from every other source of its kind, for good. */
    std::string id;
    /** The present value, in the unit of the subject.
     *
     *  Throws std::runtime_error saying why when there is none. Refers to
     *  nothing outside of itself, as it may run on any thread. */
    std::function<double()> read;
    /** Chip and device, for example "coretemp/coretemp.0", where the device is
     *  to have a component of its own; otherwise empty. */
    std::string device{};
    /** The file that is read where that may change while hostmon runs. */
    std::string place{};
};

/** How often a source may have given no answer in time before it is read anew,
 *  by another process. */
inline constexpr int silencesBeforeAnew = 6;

/** The sources of a subject: one, or for temperatures one for each sensor
 *  that there is.
 *
 *  @param[in] subject what is watched
 *  @param[in] root in front of /proc and /sys, "" for the machine's own
 *  @param[in] timeout within which a source should answer */
std::vector<Source>
sourcesOf(const Subject& subject, const std::filesystem::path& root,
          std::chrono::microseconds timeout = std::chrono::seconds(10));

} // namespace healthintf::hostmon
