// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Reads the replies of object managers. */

#include <systemd/sd-bus.h>

#include <cstdint>
#include <map>
#include <string>
#include <variant>
#include <vector>

namespace healthintf::healthctl
{

/** A property of the types that nodes and entries have; nothing for others. */
using PropertyValue =
    std::variant<std::monostate, bool, int32_t, uint32_t, uint64_t, std::string,
                 std::vector<std::string>>;

using Properties = std::map<std::string, PropertyValue>;

/** Properties by the names of their interfaces, by object path. */
using ManagedObjects = std::map<std::string, std::map<std::string, Properties>>;

/** Parses a reply of GetManagedObjects.
 *
 *  @throws std::runtime_error when it is none */
ManagedObjects readManagedObjects(sd_bus_message* message);

/** Reads an array of texts.
 *
 *  @throws std::runtime_error when there is none */
std::vector<std::string> readTexts(sd_bus_message* message);

/** Reads a variant of a message.
 *
 *  @throws std::runtime_error when there is none */
PropertyValue readVariant(sd_bus_message* message);

/** A property, or @p otherwise when there is none of this name and type. */
template <typename Value>
Value readValue(const Properties& properties, const char* name,
                Value otherwise = {})
{
    const auto found = properties.find(name);
    const auto* value = found != properties.end()
                            ? std::get_if<Value>(&found->second)
                            : nullptr;
    return value != nullptr ? *value : otherwise;
}

} // namespace healthintf::healthctl
