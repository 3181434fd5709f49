// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file What the message registries say of a message, before it is used. */

#include "registry_file.hpp"

#include <platform/api.h>

#include <optional>
#include <string>

namespace healthintf::host
{

/** A message that a registry has. */
struct KnownMessage
{
    MessageSeverity severity = MessageSeverity::ok;
    /** How many arguments it takes. */
    unsigned int arguments = 0;
};

/** Finds a message as the library does when it makes a fault.
 *
 *  @return nothing when no registry has it
 *  @throws std::exception when the registries cannot be read */
PLATFORM_API std::optional<KnownMessage> findMessage(const std::string& id);

} // namespace healthintf::host
