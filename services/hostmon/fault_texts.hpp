#pragma once

/** @file What faults of the host are called. */

#include "limits.hpp"
#include "subject.hpp"

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

namespace healthintf::hostmon
{

/** What the faults of a kind of subject have in common. */
struct FaultTexts
{
    /** Messages of the registry HostMonitor by their levels. */
    const char* warningId;
    const char* criticalId;
    /** The part of sensor paths that stands for the kind. */
    const char* kind;
    /** Sensor type code of IPMI 2.0, table 42-3. */
    uint32_t sensorType;
};

/** The messages for a source that cannot be read. With each other cause comes
 *  the one that is not reported: the new fault can be added before the old one
 *  is removed, so that the health does not dip. */
inline constexpr const char* unreadableId =
    "HostMonitor.1.0.ReadingUnavailable";
inline constexpr const char* stillUnreadableId =
    "HostMonitor.1.0.ReadingStillUnavailable";

FaultTexts faultTextsOf(const Subject& subject);

/** The id of the message for a level that is not ok. */
std::string messageIdOf(const FaultTexts& texts, Level level);

/** Sensor type code of IPMI 2.0, table 42-3: management subsystem health. */
inline constexpr uint32_t ipmiSubsystemHealth = 0x28;

/** A sensor path for a source of a kind: letters and digits of its id stay,
 * anything else becomes an underscore and its code, so that different ids stay
 *  different. */
std::string sensorPathOf(const std::string& kind, const std::string& id);

/** The key of a device's component, escaped in the same way. */
std::string deviceKeyOf(const std::string& component,
                        const std::string& device);

/** Why there is no reading of a source that blocks. */
std::string noAnswerWithin(std::chrono::microseconds time);

/** A reading or limit with one digit after the point. */
std::string shownNumber(double number);

} // namespace healthintf::hostmon
