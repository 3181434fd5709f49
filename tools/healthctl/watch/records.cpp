// SPDX-License-Identifier: Apache-2.0
#include "records.hpp"

#include "../source/health_source.hpp"

#include <string_view>

namespace healthintf::healthctl
{

FaultEntryProperties makeProperties(const FaultEntry_gen& fault)
{
    return {.fqdd = fault.fqdd(),
            .messageID = fault.messageID(),
            .message = fault.message(),
            .args = fault.args(),
            .timestamp = fault.timestamp(),
            .severity = fault.severity(),
            .sensorPath = fault.sensorPath(),
            .sensorNumber = fault.sensorNumber(),
            .sensorType = fault.sensorType(),
            .ledState = fault.ledState(),
            .lcdMessage = fault.lcdMessage(),
            .hidden = fault.hidden()};
}

Records readTree(const RepeatedReading& reading)
{
    const auto source = openSourceAgain(reading);
    Records records;
    records.nodes = source->nodes();
    for (const Fault& fault : source->faults())
    {
        records.faults.emplace(
            fault.path,
            WatchedFault{makeProperties(fault.record), fault.connection});
    }
    records.silent = source->silent();
    if (records.nodes.empty() && source->name() == std::string_view("bus"))
    {
        records.nothing = noNodesIn(*source).what();
    }
    return records;
}

} // namespace healthintf::healthctl
