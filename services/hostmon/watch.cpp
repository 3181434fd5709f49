// SPDX-License-Identifier: Apache-2.0
#include "watch.hpp"

#include "../common/service_log.hpp"

#include <utility>

namespace healthintf::hostmon
{

namespace log = services::log;

Watch::Watch(const WatchConfig& config, const Source& source,
             uint32_t sensorNumber, ComponentFaults& componentFaults) :
    limits(config.limits),
    name(source.name), number(sensorNumber), faults(componentFaults),
    texts(selectFaultTexts(config.subject)),
    sensorPath(makeSensorPath(texts.kind, source.id)), tracker(config.limits)
{}

void Watch::take(const Reading& reading)
{
    if (reading.value)
    {
        takeSuccess();
        takeValue(*reading.value);
    }
    else
    {
        takeFailure(reading.failure);
    }
}

void Watch::removeFaults()
{
    takeSuccess();
    if (tracker.level() != Level::ok)
    {
        remove(selectMessageId(texts, tracker.level()));
        tracker.setLevel(Level::ok);
    }
}

void Watch::takeValue(double value)
{
    const Level before = tracker.level();
    const Level now = tracker.nextLevel(value);
    if (now != before && before != Level::ok)
    {
        remove(selectMessageId(texts, before));
    }
    if (now != Level::ok)
    {
        const double limit =
            now == Level::critical ? limits.critical : limits.warning;
        // At each reading, so that a waiting fault has the latest one.
        add(selectMessageId(texts, now), now,
            {name, formatNumber(value), formatNumber(limit)});
    }
    tracker.setLevel(now);
}

void Watch::takeFailure(const std::string& cause)
{
    if (cause != failure)
    {
        SERVICE_LOG(log::warning, "%s.%d.%s: %s: %s", name.c_str(),
                    cause.c_str());
        const bool again = failureId == unreadableId;
        takeSuccess();
        failureId = again ? stillUnreadableId : unreadableId;
        failure = cause;
    }
    add(failureId, Level::warning, {name, cause});
}

void Watch::takeSuccess()
{
    if (failure)
    {
        remove(failureId);
        failureId.clear();
        failure.reset();
    }
}

void Watch::add(const std::string& id, Level level,
                std::vector<std::string> arguments)
{
    faults.add({.messageId = id,
                .sensorPath = sensorPath,
                .arguments = std::move(arguments),
                .fqdd = "System.Host.1#" + std::string(texts.kind) + "." +
                        std::to_string(number),
                .subSystem = texts.kind,
                .sensorNumber = number,
                .sensorType = texts.sensorType,
                .level = level});
}

void Watch::remove(const std::string& id)
{
    faults.remove(id, sensorPath);
}

std::string describe(const WatchConfig& config, const Source& source,
                     const Reading& reading)
{
    const std::string start =
        std::string(selectFaultTexts(config.subject).kind) + " " + source.name;
    if (!reading.value)
    {
        return start + ": " + reading.failure;
    }
    const Level level = LevelTracker(config.limits).nextLevel(*reading.value);
    return start + ": " + formatNumber(*reading.value) + " (" +
           (level == Level::ok        ? "ok"
            : level == Level::warning ? "warning"
                                      : "critical") +
           ")";
}

} // namespace healthintf::hostmon
