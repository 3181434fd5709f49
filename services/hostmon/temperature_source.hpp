#pragma once

/** @file The temperatures that the kernel shows. */

#include <filesystem>
#include <string>
#include <vector>

namespace healthintf::hostmon
{

/** One sensor of a chip. */
struct TemperatureSensor
{
    /** For example "coretemp". */
    std::string chip;
    /** For example "temp1". */
    std::string sensor;
    /** For example "Package id 0"; empty when the chip gives none. */
    std::string label;
    /** The file with the reading. */
    std::filesystem::path input;

    /** Chip and sensor, for example "coretemp/temp1". */
    std::string name() const;

    /** Whether "*", "chip/sensor" or "chip/label" means this one. */
    bool matches(const std::string& wanted) const;
};

/** Every sensor, in the order of the names.
 *
 *  @param[in] hwmon the kernel's folder, /sys/class/hwmon; may be missing */
std::vector<TemperatureSensor>
temperatureSensors(const std::filesystem::path& hwmon);

/** A reading in degrees Celsius.
 *
 *  @throws std::runtime_error when the sensor cannot be read */
double degreesCelsius(const std::filesystem::path& input);

} // namespace healthintf::hostmon
