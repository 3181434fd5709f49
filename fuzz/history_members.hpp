// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Maps of named values in messages, as the history has them. */

#include "message_body.hpp"

#include <systemd/sd-bus.h>

#include <string>
#include <vector>

namespace healthintf::test
{

/** Appends one member whose value has any type. */
inline void appendAnyMember(sd_bus_message* message, const std::string& name,
                            FuzzInput& input)
{
    orThrow(sd_bus_message_open_container(message, 'e', "sv"), "member");
    orThrow(sd_bus_message_append(message, "s", name.c_str()), "name");
    appendValues(message, "v", input);
    orThrow(sd_bus_message_close_container(message), "member's end");
}

/** Appends one member that has a single value.
 *
 *  @param[in] type what libsystemd takes the value for */
inline void appendMember(sd_bus_message* message, const char* name,
                         const char* type, auto value)
{
    orThrow(sd_bus_message_append(message, "{sv}", name, type, value),
            "member");
}

/** Appends one member that has several values.
 *
 *  @param[in] append appends one of them, and returns libsystemd's result */
inline void appendMembers(sd_bus_message* message, const char* name,
                          const char* type, const auto& values, auto&& append)
{
    const std::string array = std::string("a") + type;
    orThrow(sd_bus_message_open_container(message, 'e', "sv"), "member");
    orThrow(sd_bus_message_append(message, "s", name), "name");
    orThrow(sd_bus_message_open_container(message, 'v', array.c_str()),
            "variant");
    orThrow(sd_bus_message_open_container(message, 'a', type), "array");
    for (const auto& value : values)
    {
        orThrow(append(value), "value");
    }
    for (int open = 0; open < 3; ++open)
    {
        orThrow(sd_bus_message_close_container(message), "member's end");
    }
}

} // namespace healthintf::test
