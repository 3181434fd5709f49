// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file The faults that "hide", "unhide" and "silence" name. */

#include "../source/health_source.hpp"

#include <cstddef>
#include <string>

namespace healthintf::healthctl
{

/** Names faults as the signal to hide them does. A component whose key is
 *  named takes all its faults, others those of the sensor's path, or without
 *  one those of its number. */
struct HideTarget
{
    /** Empty for none. */
    std::string key;
    /** Empty for none. */
    std::string sensorPath;
    /** The IPMI number; 0 for none. */
    int sensorNumber = 0;
};

/** Whether a target names a fault. */
bool isNamed(const Fault& fault, const HideTarget& target);

/** How many faults a target names, hidden ones too, and of how many
 *  components. */
struct TargetCounts
{
    std::size_t faults = 0;
    /** A component that is named counts without faults, too. */
    std::size_t components = 0;
};

/** Counts the faults and components that a target names. */
TargetCounts countTargets(const HideTarget& target, const Faults& faults);

/** Says how many faults and components "hide" or "unhide" met.
 *
 *  @param[in] hide whether they were asked to hide the faults, or to show
 *             them */
std::string describeTargets(bool hide, const TargetCounts& counts);

} // namespace healthintf::healthctl
