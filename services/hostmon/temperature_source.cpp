#include "temperature_source.hpp"

#include "kernel_file.hpp"

#include <algorithm>
#include <stdexcept>
#include <system_error>

namespace healthintf::hostmon
{

namespace fs = std::filesystem;

namespace
{

/** The first line of a file, empty when there is none. */
std::string firstLine(const fs::path& file)
{
    try
    {
        const std::string text = contentOf(file);
        return text.substr(0, text.find('\n'));
    }
    catch (const std::runtime_error&)
    {
        return {};
    }
}

void addSensorsOfChip(const fs::path& folder,
                      std::vector<TemperatureSensor>& sensors)
{
    constexpr std::string_view ending = "_input";
    const std::string chip = firstLine(folder / "name");
    std::error_code error;
    for (const auto& file : fs::directory_iterator(folder, error))
    {
        const std::string name = file.path().filename();
        if (name.starts_with("temp") && name.ends_with(ending))
        {
            const std::string sensor =
                name.substr(0, name.size() - ending.size());
            sensors.push_back({chip, sensor,
                               firstLine(folder / (sensor + "_label")),
                               file.path()});
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
    return wanted == "*" || wanted == name() ||
           (!label.empty() && wanted == chip + "/" + label);
}

std::vector<TemperatureSensor> temperatureSensors(const fs::path& hwmon)
{
    std::vector<TemperatureSensor> sensors;
    std::error_code error;
    for (const auto& chip : fs::directory_iterator(hwmon, error))
    {
        addSensorsOfChip(chip.path(), sensors);
    }
    std::ranges::sort(sensors, {}, [](const TemperatureSensor& sensor) {
        return std::pair(sensor.name(), sensor.input);
    });
    return sensors;
}

double degreesCelsius(const fs::path& input)
{
    constexpr double thousandths = 1000;
    return numberAfter(contentOf(input), "", input) / thousandths;
}

} // namespace healthintf::hostmon
