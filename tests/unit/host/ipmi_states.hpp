#pragma once

/** @file What IPMI 2.0 says of sensors and their states, in key words of our
 *  own: the event/reading types and the sensor types with their offsets. */

#include <string>
#include <vector>

namespace healthintf::test
{

/** Which direction of a state is the fault, and how bad it is. */
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
    /** What its descriptions must speak of, in both directions. */
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

/** The sensor types 01h to 2Ch; those without states of their own have none
 *  here. */
const std::vector<IpmiType>& ipmiSensorTypes();

} // namespace healthintf::test
