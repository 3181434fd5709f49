#include "temperature_source.hpp"

#include "kernel_file.hpp"
#include "printable.hpp"

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

/** The first line of a file, empty when there is none.
 *
 *  @throws std::system_error when there is a shortage, which says nothing of
 *          the file */
std::string firstLine(const fs::path& file)
{
    try
    {
        const std::string text = contentOf(file);
        return text.substr(0, text.find('\n'));
    }
    catch (const std::system_error& e)
    {
        if (isShortage(e.code()))
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

/** What is in a folder, which may be missing.
 *
 *  @throws std::system_error when it is there and cannot be read */
std::vector<fs::path> entriesOf(const fs::path& folder)
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

/** Whether a folder below /sys/devices is a device of a bus, as opposed to one
 *  that the kernel only numbers, such as "nvme0". */
bool isBusDevice(const fs::path& folder)
{
    std::error_code error;
    const fs::path subsystem = fs::canonical(folder / "subsystem", error);
    return !error && subsystem.parent_path().filename() == "bus";
}

/** The folder of the device that a chip belongs to: the nearest one that is on
 *  a bus. */
fs::path deviceFolderOf(const fs::path& chip, const fs::path& devices)
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

/** A path below /sys/devices without what stands in front. */
std::string below(const fs::path& devices, const fs::path& path)
{
    const fs::path rest = path.lexically_relative(devices);
    return rest.empty() || *rest.begin() == ".." ? path.filename() : rest;
}

void addSensorsOfChip(const fs::path& entry, const fs::path& devices,
                      std::vector<TemperatureSensor>& sensors)
{
    constexpr std::string_view ending = "_input";
    std::error_code error;
    const fs::path folder = fs::canonical(entry, error);
    const std::string chip = firstLine(folder / "name");
    const std::string device = below(devices, deviceFolderOf(folder, devices));
    for (const fs::path& file : entriesOf(folder))
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

/** Gives chips of one name on one device, as two ports of a card may have,
 *  names of their own: the numbered parts of their paths. */
void tellApart(std::vector<TemperatureSensor>& sensors, const fs::path& devices)
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
            sensor.device = below(devices, sensor.input.parent_path());
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
    const auto isMeant = [&](const std::string& called) {
        return wanted == called || wanted == called + ofDevice;
    };
    return wanted == "*" || isMeant(name()) ||
           (!label.empty() && isMeant(chip + "/" + label));
}

std::string TemperatureSensor::shownName() const
{
    // As faults may have it, which are texts of the bus.
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

std::vector<TemperatureSensor> temperatureSensors(const fs::path& hwmon)
{
    std::vector<TemperatureSensor> sensors;
    std::error_code error;
    const fs::path devices = fs::weakly_canonical(
        hwmon.parent_path().parent_path() / "devices", error);
    for (const fs::path& chip : entriesOf(hwmon))
    {
        addSensorsOfChip(chip, devices, sensors);
    }
    tellApart(sensors, devices);
    std::ranges::sort(sensors, {}, [](const TemperatureSensor& sensor) {
        return std::pair(sensor.name(), sensor.device);
    });
    return sensors;
}

double degreesCelsius(const fs::path& input)
{
    constexpr double thousandths = 1000;
    return numberAfter(contentOf(input), "", input) / thousandths;
}

} // namespace healthintf::hostmon
