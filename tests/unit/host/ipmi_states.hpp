// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file The event/reading types and sensor types of IPMI 2.0 with their
 *  offsets, each described by key words of our own. */

#include <string>
#include <vector>

namespace healthintf::test
{

/** Whether a state's assertion or deassertion is the fault, and how bad it
 *  is. */
enum class Fault
{
    none,
    assertedWarning,
    assertedCritical,
    deassertedWarning,
    deassertedCritical,
};

struct IpmiState
{
    unsigned int offset;
    Fault fault;
    /** The descriptions of assertion and deassertion must contain these words.
     */
    std::vector<std::string> words;
};

/** An event/reading type or a sensor type. */
struct IpmiType
{
    unsigned int code;
    std::string name;
    std::vector<IpmiState> states;
};

/** The event types 01h to 0Ch. */
const std::vector<IpmiType>& ipmiEventTypes();

/** The sensor types 01h to 2Ch; those without states of their own are
 *  missing. */
const std::vector<IpmiType>& ipmiSensorTypes();

} // namespace healthintf::test
