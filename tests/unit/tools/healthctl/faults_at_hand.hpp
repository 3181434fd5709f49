// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Builds faults for tests. */

#include "source/health_source.hpp"

#include <cstdint>
#include <string>
#include <utility>

namespace healthintf::healthctl
{

inline Fault makeFault(const std::string& key, const std::string& name,
                       uint32_t severity, uint64_t timestamp = 0,
                       bool hidden = false)
{
    FaultEntryProperties properties;
    properties.messageID = name;
    properties.message = "The message of " + name;
    properties.severity = severity;
    properties.timestamp = timestamp;
    properties.hidden = hidden;
    return {key + "/entry/" + name, FaultEntry_gen(std::move(properties))};
}

} // namespace healthintf::healthctl
