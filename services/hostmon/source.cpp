#include "source.hpp"

#include "filesystem_source.hpp"
#include "load_source.hpp"
#include "memory_source.hpp"
#include "pressure_source.hpp"
#include "process_source.hpp"
#include "reading_process.hpp"
#include "temperature_source.hpp"

#include <memory>
#include <utility>

namespace healthintf::hostmon
{
namespace
{

namespace fs = std::filesystem;

/** Runs a read of what may lie on a filesystem that hangs. */
std::function<double()>
inAnotherProcess(std::function<double()> read,
                 std::chrono::milliseconds patience = ReadingProcess::forEver)
{
    return [process =
                std::make_shared<ReadingProcess>(std::move(read), patience)] {
        return process->read();
    };
}

/** Makes the sources of each subject. */
struct Maker
{
    const fs::path& root;
    /** How long one process may take for a read. */
    std::chrono::milliseconds patience;

    std::vector<Source> operator()(const Filesystem& filesystem) const
    {
        // Another process would not know where it was mounted before.
        const bool found = filesystem.mountPoint.empty();
        return {{filesystem.path, filesystem.path,
                 inAnotherProcess(
                     [mounted = MountedFilesystem(
                          filesystem.path, filesystem.mountPoint)]() mutable {
                         return mounted.usedPercent();
                     },
                     found ? ReadingProcess::forEver : patience)}};
    }

    std::vector<Source> operator()(const Memory& /*memory*/) const
    {
        return {{"memory", "memory", [file = root / "proc/meminfo"] {
                     return availableMemoryPercent(file);
                 }}};
    }

    std::vector<Source> operator()(const Load& load) const
    {
        const std::string name = std::to_string(load.minutes) + " min";
        return {{name, name, [load, file = root / "proc/loadavg"] {
                     return loadPerProcessor(file, load.minutes);
                 }}};
    }

    std::vector<Source> operator()(const Pressure& pressure) const
    {
        return {{pressure.resource, pressure.resource,
                 [pressure, file = root / "proc/pressure" / pressure.resource] {
                     return pressurePercent(file, pressure.seconds);
                 }}};
    }

    std::vector<Source> operator()(const Temperature& temperature) const
    {
        std::vector<Source> sources;
        for (const TemperatureSensor& sensor :
             temperatureSensors(root / "sys/class/hwmon"))
        {
            if (sensor.matches(temperature.sensor))
            {
                sources.push_back({sensor.shownName(), sensor.id(),
                                   [file = sensor.input] {
                                       return degreesCelsius(file);
                                   },
                                   temperature.eachDevice
                                       ? sensor.chip + "/" + sensor.deviceName()
                                       : "",
                                   sensor.input});
            }
        }
        return sources;
    }

    std::vector<Source> operator()(const ProcessAlive& process) const
    {
        const fs::path proc = root / "proc";
        if (!process.pidfile.empty())
        {
            return {{process.pidfile, process.pidfile,
                     inAnotherProcess(
                         [process =
                              PidfileProcess(proc, process.pidfile)]() mutable {
                             return process.lives() ? 1.0 : 0.0;
                         },
                         patience)}};
        }
        return {{process.name, process.name, [process, proc] {
                     return static_cast<double>(
                         countProcesses(proc, process.name));
                 }}};
    }
};

} // namespace

std::vector<Source> sourcesOf(const Subject& subject, const fs::path& root,
                              std::chrono::microseconds timeout)
{
    using std::chrono::milliseconds;
    const fs::path used = root.empty() ? fs::path("/") : root;
    return std::visit(Maker{used, std::chrono::ceil<milliseconds>(
                                      silencesBeforeAnew * timeout)},
                      subject);
}

} // namespace healthintf::hostmon
