// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Formats values as the journal shows them. */

#include <systemd/sd-bus.h>

#include <cstdint>
#include <map>
#include <string>
#include <variant>
#include <vector>

namespace healthintf::test
{

inline std::string text(bool value)
{
    return value ? "true" : "false";
}
inline std::string text(int32_t value)
{
    return std::to_string(value);
}
inline std::string text(uint32_t value)
{
    return std::to_string(value);
}
inline std::string text(uint64_t value)
{
    return std::to_string(value);
}
inline std::string text(const std::string& value)
{
    return "'" + value + "'";
}

inline std::string text(const std::vector<std::string>& values)
{
    std::string shown = "[";
    for (const auto& value : values)
    {
        shown += (shown.size() > 1 ? ", " : "") + text(value);
    }
    return shown + "]";
}

template <typename... Ts>
std::string text(const std::variant<Ts...>& value)
{
    return std::visit(
        [](const auto& held) {
            return text(held);
        },
        value);
}

template <typename Value>
std::string text(const std::map<std::string, Value>& values)
{
    std::string shown = "{";
    for (const auto& [name, value] : values)
    {
        shown += (shown.size() > 1 ? ", " : "") + name + "=" + text(value);
    }
    return shown + "}";
}

/** The arguments of a sealed message, separated by spaces. */
std::string arguments(sd_bus_message* message);

} // namespace healthintf::test
