// SPDX-License-Identifier: Apache-2.0
#include "change_line.hpp"

#include "../model/component.hpp"
#include "../model/trial.hpp"
#include "../output/fault_output.hpp"
#include "../output/silence_output.hpp"
#include "../source/process_name.hpp"

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
        case Change::Kind::acknowledged:
            return "acknowledged";
        case Change::Kind::withdrawn:
            return "withdrawn";
        case Change::Kind::silenced:
            return "silenced";
        case Change::Kind::silenceEnded:
            return "silence-ended";
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

/** Adds who ended something: null when its time had come. */
void addEnder(Json& json, const std::optional<uint32_t>& user)
{
    json["uid"] = user ? Json(*user) : Json(nullptr);
    json["user"] = user ? Json(readUserName(*user)) : Json(nullptr);
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
    else if (change.silence)
    {
        json["components"] = change.components;
        json["silence"] = toJson(*change.silence);
    }
    else if (change.fault)
    {
        json["component"] = getComponent(change.path);
        json["path"] = change.path;
        json["fault"] = faultJson(*change.fault);
        if (change.acknowledgement)
        {
            json["acknowledgement"] = toJson(*change.acknowledgement);
        }
    }
    else
    {
        json["component"] = change.path;
        json["before"] = wordOrNull(change.before);
        json["now"] = wordOrNull(change.now);
    }
    if (change.kind == Change::Kind::withdrawn ||
        change.kind == Change::Kind::silenceEnded)
    {
        addEnder(json, change.endedBy);
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
