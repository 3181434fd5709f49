// SPDX-License-Identifier: Apache-2.0
#include "change_line.hpp"

#include "../model/component.hpp"
#include "../model/trial.hpp"

#include <hmi_health_value.hpp>

#include <nlohmann/json.hpp>

namespace healthintf::healthctl
{
namespace
{

using Json = nlohmann::ordered_json;

const char* wordFor(Change::Kind kind)
{
    switch (kind)
    {
        case Change::Kind::nodeAdded:
            return "node-added";
        case Change::Kind::nodeRemoved:
            return "node-removed";
        case Change::Kind::health:
            return "health";
        case Change::Kind::faultAdded:
            return "fault-added";
        case Change::Kind::faultRemoved:
            return "fault-removed";
        case Change::Kind::faultHidden:
            return "fault-hidden";
        case Change::Kind::faultShown:
            return "fault-shown";
        case Change::Kind::processSilent:
            return "process-silent";
        case Change::Kind::processSilentEnded:
            return "process-silent-ended";
    }
    return "unknown";
}

Json wordOrNull(const std::optional<uint32_t>& health)
{
    return health ? Json(health_namespace::healthWord(*health)) : Json(nullptr);
}

Json faultJson(const FaultEntryProperties& fault)
{
    return {{"severity", health_namespace::healthWord(fault.severity)},
            {"timestamp", fault.timestamp},
            {"messageId", fault.messageID},
            {"message", fault.message},
            {"args", fault.args},
            {"fqdd", fault.fqdd},
            {"sensorPath", fault.sensorPath},
            {"sensorNumber", fault.sensorNumber},
            {"sensorType", fault.sensorType},
            {"hidden", fault.hidden},
            {"trial", isForTrial(fault.fqdd)}};
}

} // namespace

nlohmann::ordered_json toJson(const Change& change)
{
    Json json{{"change", wordFor(change.kind)}};
    if (change.kind == Change::Kind::processSilent ||
        change.kind == Change::Kind::processSilentEnded)
    {
        json["process"] = change.path;
        json["components"] = change.components;
    }
    else if (change.fault)
    {
        json["component"] = getComponent(change.path);
        json["path"] = change.path;
        json["fault"] = faultJson(*change.fault);
    }
    else
    {
        json["component"] = change.path;
        json["before"] = wordOrNull(change.before);
        json["now"] = wordOrNull(change.now);
    }
    return json;
}

nlohmann::ordered_json beginningJson(const WatchedTree& tree,
                                     const WatchFilter& filter)
{
    return {{"change", "begin"},
            {"nodes", countNodes(tree, filter)},
            {"faults", countFaults(tree, filter)}};
}

} // namespace healthintf::healthctl
