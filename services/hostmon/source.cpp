// SPDX-License-Identifier: Apache-2.0
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

/** Makes a read run in a child process, as it may touch a filesystem that
 *  hangs. */
std::function<double()> runInChild(KeepingRead read,
                                   std::chrono::milliseconds timeout)
{
    return
        [process = std::make_shared<ReadingProcess>(std::move(read), timeout)] {
            return process->read();
        };
}

/** Makes the sources of each subject. */
struct SourceMaker
{
    const fs::path& root;
    /** How long one child process may take for a read. */
    std::chrono::milliseconds childTimeout;

    std::vector<Source> operator()(const Filesystem& filesystem) const
    {
        const auto read = [filesystem](std::string& mountPoint) {
            MountedFilesystem mounted(filesystem.path,
                                      filesystem.mountPoint.empty()
                                          ? mountPoint
                                          : filesystem.mountPoint);
            const double used = mounted.readUsedPercent();
            mountPoint = mounted.expectedMountPoint();
            return used;
        };
        return {
            {filesystem.path, filesystem.path, runInChild(read, childTimeout)}};
    }

    std::vector<Source> operator()(const Memory& /*memory*/) const
    {
        return {{"memory", "memory", [file = root / "proc/meminfo"] {
                     return readAvailableMemory(file);
                 }}};
    }

    std::vector<Source> operator()(const Load& load) const
    {
        const std::string name = std::to_string(load.minutes) + " min";
        return {{name, name, [load, file = root / "proc/loadavg"] {
                     return readLoadPerProcessor(file, load.minutes);
                 }}};
    }

    std::vector<Source> operator()(const Pressure& pressure) const
    {
        return {{pressure.resource, pressure.resource,
                 [pressure, file = root / "proc/pressure" / pressure.resource] {
                     return readPressurePercent(file, pressure.seconds);
                 }}};
    }

    std::vector<Source> operator()(const Temperature& temperature) const
    {
        std::vector<Source> sources;
        for (const TemperatureSensor& sensor :
             listTemperatureSensors(root / "sys/class/hwmon"))
        {
            if (sensor.matches(temperature.sensor))
            {
                sources.push_back({sensor.displayName(), sensor.id(),
                                   [file = sensor.input] {
                                       return readDegreesCelsius(file);
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
            const auto read = [process, proc](std::string& identity) {
                PidfileProcess watched(proc, process.pidfile, identity);
                const bool alive = watched.isAlive();
                identity = watched.identity();
                return alive ? 1.0 : 0.0;
            };
            return {{process.pidfile, process.pidfile,
                     runInChild(read, childTimeout)}};
        }
        return {{process.name, process.name, [process, proc] {
                     return static_cast<double>(
                         countProcesses(proc, process.name));
                 }}};
    }
};

} // namespace

std::vector<Source> makeSources(const Subject& subject, const fs::path& root,
                                std::chrono::microseconds timeout)
{
    using std::chrono::milliseconds;
    const fs::path machine = root.empty() ? fs::path("/") : root;
    return std::visit(SourceMaker{machine, std::chrono::ceil<milliseconds>(
                                               timeoutsPerChild * timeout)},
                      subject);
}

} // namespace healthintf::hostmon
