// SPDX-License-Identifier: Apache-2.0
#include "records.hpp"

#include "../error.hpp"
#include "../source/health_source.hpp"

namespace healthintf::healthctl
{

FaultEntryProperties propertiesOf(const FaultEntry_gen& fault)
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

Records readTree()
{
    Records records;
    try
    {
        const auto source = openSource(SourceChoice::automatic);
        for (const auto& [key, node] : source->nodes())
        {
            records.nodes.emplace(key, node.health);
        }
        for (const Fault& fault : source->faults())
        {
            records.faults.emplace(fault.path, propertiesOf(fault.record));
        }
    }
    catch (const Error& e)
    {
        if (e.code() != ExitCode::unavailable)
        {
            throw;
        }
    }
    return records;
}

} // namespace healthintf::healthctl
