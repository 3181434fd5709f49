// SPDX-License-Identifier: Apache-2.0
/** @file The health value that a fault's severity stands for. */

#include <hmi_health.hpp>
#include <hmi_health_value.hpp>

namespace health_namespace
{

unsigned int HealthStatus::MCATSeverityToHealthStatus(unsigned int severity)
{
    switch (severity)
    {
        case 1:
            return healthCritical;
        case 2:
            return healthWarning;
        case 3:
            return healthOk;
        default:
            return healthUnknown;
    }
}

} // namespace health_namespace
