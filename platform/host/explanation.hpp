// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Explains messages to an operator, from the installed files. */

#include <platform/api.h>

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace healthintf::host
{

/** The most bytes of each text of an explanation; a longer text is cut. */
inline constexpr std::size_t maxExplainedText = 4096;

/** An argument of a message. */
struct ExplainedArgument
{
    /** Its place in the text, such as "%1" or "{sensor}". */
    std::string place;
    /** "string" or "number"; empty when the file does not say. */
    std::string type;
    /** Empty when the file does not say. */
    std::string description;
    /** Whether some faults with the message lack it. */
    bool optional = false;
};

/** The event that a message of the event table is about. */
struct ExplainedEvent
{
    /** The names of the sensor's type and of the event's; the latter is empty
     *  for a state that only sensors of this type have. */
    std::string sensorType;
    std::string eventType;
    uint8_t offset = 0;
    /** Whether the state came, or else went. */
    bool asserted = false;
};

/** A message, as a file has it. The file may be anybody's, so these texts may
 *  have any characters. */
struct Explanation
{
    /** The whole identifier, such as "Fan.1.2.3.Failed". */
    std::string id;
    /** "critical", "warning", "OK" or "informational". */
    std::string severity;
    /** The text with the places of its arguments. */
    std::string text;
    /** Empty when the file has none, as the event table never has. */
    std::string description;
    std::string resolution;
    std::vector<ExplainedArgument> arguments;
    std::filesystem::path file;
    /** Only of a message of the event table. */
    std::optional<ExplainedEvent> event;
};

/** Explanations by the identifiers that were asked for. */
using Explanations = std::map<std::string, Explanation>;

/** Looks messages up as a program that starts now would: in the message
 *  registries, else in the event table. Reads the files anew and keeps nothing
 *  of them. Files and messages with errors are left out.
 *
 *  @param[in] ids in any form in which messages are found
 *  @return those that were found
 *  @throws std::system_error when memory or descriptors are short */
PLATFORM_API Explanations explainMessages(const std::set<std::string>& ids);

} // namespace healthintf::host
