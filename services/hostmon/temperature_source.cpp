// SPDX-License-Identifier: Apache-2.0
#include "temperature_source.hpp"

#include "kernel_file.hpp"
#include "printable.hpp"
#include "storage/shortage.hpp"

#include <algorithm>
#include <map>
#include <stdexcept>
#include <system_error>
#include <utility>

namespace healthintf::hostmon
{

namespace fs = std::filesystem;

namespace
{

/** Reads the first line of a file; empty when the file cannot be read.
 *
 *  @throws std::system_error when descriptors or memory are short, which says
 *          nothing about the file */
std::string firstLine(const fs::path& file)
{
    try
    {
        const std::string text = readKernelFile(file);
        return text.substr(0, text.find('\n'));
    }
    catch (const std::system_error& e)
    {
        if (host::isShortage(e.code().value()))
        {
            throw;
        }
        return {};
    }
    catch (const std::runtime_error&)
    {
        return {};
    }
}

/** Lists a folder; empty when it is missing.
 *
 *  @throws std::system_error when it exists and cannot be read */
std::vector<fs::path> listEntries(const fs::path& folder)
{
    std::vector<fs::path> entries;
    std::error_code error;
    for (fs::directory_iterator entry(folder, error);
         !error && entry != fs::directory_iterator(); entry.increment(error))
    {
        entries.push_back(entry->path());
    }
    if (error && !isGone(error))
    {
        throw std::system_error(error, "unable to read " + folder.string());
    }
    return entries;
}

/** Whether a folder below /sys/devices is a device on a bus, unlike one that
 *  only has a number from the kernel, such as "nvme0". */
bool isBusDevice(const fs::path& folder)
{
    std::error_code error;
    const fs::path subsystem = fs::canonical(folder / "subsystem", error);
    return !error && subsystem.parent_path().filename() == "bus";
}

/** Finds the folder of the device that a chip belongs to: the nearest one on a
 *  bus. */
fs::path findDeviceFolder(const fs::path& chip, const fs::path& devices)
{
    std::error_code error;
    fs::path nearest = fs::canonical(chip / "device", error);
    if (error)
    {
        return chip;
    }
    for (fs::path folder = nearest;
         folder != devices && folder.has_relative_path();
         folder = folder.parent_path())
    {
        if (isBusDevice(folder))
        {
            return folder;
        }
    }
    return nearest;
}

/** Cuts @p devices off the front of a path. */
std::string pathBelow(const fs::path& devices, const fs::path& path)
{
    const fs::path rest = path.lexically_relative(devices);
    return rest.empty() || *rest.begin() == ".." ? path.filename() : rest;
}

void addChipSensors(const fs::path& entry, const fs::path& devices,
                    std::vector<TemperatureSensor>& sensors)
{
    constexpr std::string_view ending = "_input";
    std::error_code error;
    const fs::path folder = fs::canonical(entry, error);
    const std::string chip = firstLine(folder / "name");
    const std::string device =
        pathBelow(devices, findDeviceFolder(folder, devices));
    for (const fs::path& file : listEntries(folder))
    {
        const std::string name = file.filename();
        if (name.starts_with("temp") && name.ends_with(ending))
        {
            const std::string sensor =
                name.substr(0, name.size() - ending.size());
            sensors.push_back({chip, sensor,
                               firstLine(folder / (sensor + "_label")), file,
                               device});
        }
    }
}

/** Makes the ids unique where one device has several chips of one name, such as
 *  the ports of a card: adds the numbered part of their paths. */
void makeIdsUnique(std::vector<TemperatureSensor>& sensors,
                   const fs::path& devices)
{
    std::map<std::string, std::size_t> uses;
    for (const TemperatureSensor& sensor : sensors)
    {
        ++uses[sensor.id()];
    }
    for (TemperatureSensor& sensor : sensors)
    {
        if (uses[sensor.id()] > 1)
        {
            sensor.device = pathBelow(devices, sensor.input.parent_path());
        }
    }
}

} // namespace

std::string TemperatureSensor::name() const
{
    return chip + "/" + sensor;
}

bool TemperatureSensor::matches(const std::string& wanted) const
{
    const std::string ofDevice = " (" + deviceName() + ")";
    const auto isNamed = [&](const std::string& called) {
        return wanted == called || wanted == called + ofDevice;
    };
    return wanted == "*" || isNamed(name()) ||
           (!label.empty() && isNamed(chip + "/" + label));
}

std::string TemperatureSensor::displayName() const
{
    // It becomes part of a fault, and texts on the bus must be UTF-8.
    return host::printable(name() + " (" + deviceName() + ")");
}

std::string TemperatureSensor::deviceName() const
{
    return fs::path(device).filename();
}

std::string TemperatureSensor::id() const
{
    return device + "/" + name();
}

std::vector<TemperatureSensor> listTemperatureSensors(const fs::path& hwmon)
{
    std::vector<TemperatureSensor> sensors;
    std::error_code error;
    const fs::path devices = fs::weakly_canonical(
        hwmon.parent_path().parent_path() / "devices", error);
    for (const fs::path& chip : listEntries(hwmon))
    {
        addChipSensors(chip, devices, sensors);
    }
    makeIdsUnique(sensors, devices);
    std::ranges::sort(sensors, {}, [](const TemperatureSensor& sensor) {
        return std::pair(sensor.name(), sensor.device);
    });
    return sensors;
}

double readDegreesCelsius(const fs::path& input)
{
    constexpr double thousandths = 1000;
    return parseNumberAfter(readKernelFile(input), "", input) / thousandths;
}

} // namespace healthintf::hostmon
