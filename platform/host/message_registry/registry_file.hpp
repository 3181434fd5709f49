// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file One Redfish message registry file. */

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <map>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace healthintf::host
{

/** Severities by the numbers that the contract uses. */
enum class MessageSeverity : uint32_t
{
    critical = 1,
    warning = 2,
    ok = 3,
};

/** A message of a registry. */
struct Message
{
    MessageSeverity severity = MessageSeverity::ok;
    /** The text with %1, %2, … for its arguments. */
    std::string text;
    /** How many arguments the text takes. */
    unsigned int arguments = 0;
};

/** What a registry says of an argument; empty what it does not say. */
struct ArgumentNotes
{
    /** "string" or "number". */
    std::string type;
    std::string description;
};

/** What a registry tells people of a message besides its text; empty what it
 *  does not tell. */
struct MessageNotes
{
    std::string description;
    std::string resolution;
    /** As many as the message takes. */
    std::vector<ArgumentNotes> arguments;
};

/** The notes of a file's messages by their keys. */
using RegistryNotes = std::map<std::string, MessageNotes>;

/** The content of a registry file. */
struct RegistryFile
{
    /** The file's name, for the log. */
    std::string name{};
    /** For example "Platform". */
    std::string prefix;
    /** For example "1.3.2". */
    std::string version;
    /** For example "en". */
    std::string language;
    /** The messages by their keys. */
    std::map<std::string, Message> messages;
    /** The first messages that were left out: line, key and cause for each. */
    std::vector<std::string> problems;
    /** How many more were left out. */
    std::size_t furtherProblems = 0;
};

/** The whole file cannot be used; the text names line and cause. */
class RegistryError : public std::runtime_error
{
    using std::runtime_error::runtime_error;
};

/** Reads the text of a registry file.
 *
 *  @param[out] notes unless it is null, gets those of the messages that are not
 *              left out; daemons do not need them
 *  @throws RegistryError when it is no valid registry */
RegistryFile parseRegistry(std::string_view text,
                           RegistryNotes* notes = nullptr);

} // namespace healthintf::host
