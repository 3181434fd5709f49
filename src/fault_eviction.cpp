// SPDX-License-Identifier: Apache-2.0
/** @file Evicts the least important fault of a component that has too many. */

// Log readers know these lines by the file of the class.
#define HMI_LOG_FILE "hmi_fault_health"

#include "log_line.hpp"

#include <hmi_fault_health.hpp>

#include <algorithm>

namespace health_namespace
{

using namespace details;

void FaultAndHealth::removeLowestPriorityFaultEntry()
{
    HMI_LOG(log::trace, "%s.%d.%s Entry : ");
    if (faultList.size() <= maxFaults)
    {
        HMI_LOG(log::progress, "%s.%d.%s: number of entry is low %zd",
                faultList.size());
        return;
    }
    const auto lessImportant = [](const auto& a, const auto& b) {
        return a->severity() < b->severity() ||
               (a->severity() == b->severity() &&
                a->timestamp() > b->timestamp());
    };
    const auto lowest =
        std::min_element(faultList.begin(), faultList.end(), lessImportant);
    const FaultEntry& entry = **lowest;
    HMI_LOG(log::progress,
            "%s.%d.%s: MSG:%s, sev:%d, timestmap:%ld, sensorpath:%s",
            entry.messageID().c_str(), entry.severity(),
            static_cast<long>(entry.timestamp()), entry.sensorPath().c_str());
    faultList.erase(lowest);
    HMI_LOG(log::trace, "%s.%d.%s Exit : ");
}

} // namespace health_namespace
