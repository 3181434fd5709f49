// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file The health values and the words for them. */

#include <cstdint>

namespace health_namespace
{

/** Health of a component. Larger is worse. */
enum HealthValue : uint32_t
{
    healthNone = 0,
    healthUnknown = 1,
    healthOk = 2,
    healthWarning = 3,
    healthCritical = 4,
};

/** The word for a health value in messages; "invalid" for any other number. */
constexpr const char* healthWord(uint32_t health)
{
    switch (health)
    {
        case healthNone:
            return "none";
        case healthUnknown:
            return "unknown";
        case healthOk:
            return "OK";
        case healthWarning:
            return "warning";
        case healthCritical:
            return "critical";
        default:
            return "invalid";
    }
}

} // namespace health_namespace
