#include "watch.hpp"

#include "../common/service_log.hpp"

#include <stdexcept>
#include <utility>

namespace healthintf::hostmon
{

namespace log = services::log;

Watch::Watch(const WatchConfig& config, Source watched, uint32_t sensorNumber,
             health_namespace::FaultAndHealth& owner) :
    limits(config.limits),
    source(std::move(watched)), number(sensorNumber), component(owner),
    texts(faultTextsOf(config.subject)),
    sensorPath(sensorPathOf(texts, source.id)), tracker(config.limits)
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
    if (now == before)
    {
        return;
    }
    // First the new fault, so that the health does not dip in between.
    if (now != Level::ok)
    {
        const double limit =
            now == Level::critical ? limits.critical : limits.warning;
        if (!add(messageIdOf(texts, now),
                 {source.name, shownNumber(reading), shownNumber(limit)}))
        {
            return;
        }
    }
    if (before != Level::ok)
    {
        remove(messageIdOf(texts, before));
    }
    tracker.take(now);
}

void Watch::takeFailure(const std::string& cause)
{
    if (!unreadable)
    {
        SERVICE_LOG(log::warning, "%s.%d.%s: %s: %s", source.name.c_str(),
                    cause.c_str());
        unreadable = add(unreadableId, {source.name, cause});
    }
}

void Watch::takeSuccess()
{
    if (unreadable)
    {
        remove(unreadableId);
        unreadable = false;
    }
}

bool Watch::add(const std::string& id, std::vector<std::string> arguments)
{
    std::string messageId = id;
    std::string fqdd = "System.Host.1#" + std::string(texts.kind) + "." +
                       std::to_string(number);
    std::string subSystem = texts.kind;
    const int status =
        component.addFault(messageId, sensorPath, arguments, fqdd, subSystem,
                           number, texts.sensorType);
    if (status != health_namespace::statusOk)
    {
        SERVICE_LOG(log::warning,
                    "%s.%d.%s: unable to report %s for %s: status %d",
                    id.c_str(), source.name.c_str(), status);
    }
    return status == health_namespace::statusOk;
}

void Watch::remove(std::string id)
{
    component.removeFault(id, sensorPath);
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
