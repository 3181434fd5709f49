// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Messages, sensor paths and texts of hostmon's faults. */

#include "limits.hpp"
#include "subject.hpp"

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

namespace healthintf::hostmon
{

/** What all faults of one kind of subject have in common. */
struct FaultTexts
{
    /** Messages of the registry HostMonitor for the two levels. */
    const char* warningId;
    const char* criticalId;
    /** The kind's name, a part of its sensor paths. */
    const char* kind;
    /** Sensor type code of IPMI 2.0, table 42-3. */
    uint32_t sensorType;
};

/** The messages of a source that cannot be read. When the cause changes, the
 *  fault with the one message replaces that with the other: so the new fault
 *  can be added before the old one is removed, and the health does not improve
 *  for a moment. */
inline constexpr const char* unreadableId =
    "HostMonitor.1.0.ReadingUnavailable";
inline constexpr const char* stillUnreadableId =
    "HostMonitor.1.0.ReadingStillUnavailable";

FaultTexts selectFaultTexts(const Subject& subject);

/** The message for a level, which must not be ok. */
std::string selectMessageId(const FaultTexts& texts, Level level);

/** Sensor type code of IPMI 2.0, table 42-3: management subsystem health. */
inline constexpr uint32_t ipmiSubsystemHealth = 0x28;

/** Makes the sensor path of a source. Letters and digits of its id stay; any
 *  other byte becomes an underscore and two hexadecimal digits, so that
 *  different ids give different paths. */
std::string makeSensorPath(const std::string& kind, const std::string& id);

/** Makes the key of a device's component, escaped like a sensor path. It does
 *  not begin with the key of any other device. */
std::string makeDeviceKey(const std::string& component,
                          const std::string& device);

/** Says that a source gave no reading within a time. */
std::string describeTimeout(std::chrono::microseconds time);

/** A reading or limit with one digit after the point. */
std::string formatNumber(double number);

} // namespace healthintf::hostmon
