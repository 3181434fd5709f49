#include "watch.hpp"

#include "../common/service_log.hpp"

#include <stdexcept>
#include <utility>

namespace healthintf::hostmon
{

namespace log = services::log;

Watch::Watch(const WatchConfig& config, Source watched, uint32_t sensorNumber,
             ComponentFaults& componentFaults) :
    limits(config.limits),
    source(std::move(watched)), number(sensorNumber), faults(componentFaults),
    texts(faultTextsOf(config.subject)),
    sensorPath(sensorPathOf(texts.kind, source.id)), tracker(config.limits)
{}

void Watch::check()
{
    try
    {
        const double reading = source.read();
        takeSuccess();
        takeReading(reading);
    }
    catch (const std::runtime_error& e)
    {
        takeFailure(e.what());
    }
}

void Watch::takeReading(double reading)
{
    const Level before = tracker.level();
    const Level now = tracker.next(reading);
    if (now != before && before != Level::ok)
    {
        remove(messageIdOf(texts, before));
    }
    if (now != Level::ok)
    {
        const double limit =
            now == Level::critical ? limits.critical : limits.warning;
        // Again at each reading: one that waits has the present one then.
        add(messageIdOf(texts, now), now,
            {source.name, shownNumber(reading), shownNumber(limit)});
    }
    tracker.take(now);
}

void Watch::takeFailure(const std::string& cause)
{
    if (!unreadable)
    {
        SERVICE_LOG(log::warning, "%s.%d.%s: %s: %s", source.name.c_str(),
                    cause.c_str());
    }
    unreadable = true;
    add(unreadableId, Level::warning, {source.name, cause});
}

void Watch::takeSuccess()
{
    if (unreadable)
    {
        remove(unreadableId);
        unreadable = false;
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

std::string describe(const WatchConfig& config, const Source& source)
{
    const FaultTexts texts = faultTextsOf(config.subject);
    std::string line = std::string(texts.kind) + " " + source.name + ": ";
    try
    {
        const double reading = source.read();
        const Level level = LevelTracker(config.limits).next(reading);
        line += shownNumber(reading) + " (" +
                (level == Level::ok        ? "ok"
                 : level == Level::warning ? "warning"
                                           : "critical") +
                ")";
    }
    catch (const std::runtime_error& e)
    {
        line += e.what();
    }
    return line;
}

} // namespace healthintf::hostmon
