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
    /** The file with the reading, below the device's own folder. */
    std::filesystem::path input;
    /** The device that the chip belongs to, as the kernel's path below
     *  /sys/devices, for example "platform/coretemp.0". It stays when chips
     *  are numbered anew, and no two devices share it. */
    std::string device;

    /** Chip and sensor, for example "coretemp/temp1". */
    std::string name() const;

    /** Name and device for people, for example
     *  "coretemp/temp1 (coretemp.0)". */
    std::string shownName() const;

    /** The last part of the device's path, for example "coretemp.0". */
    std::string deviceName() const;

    /** Device, chip and sensor: no other sensor of the machine has it. */
    std::string id() const;

    /** Whether "*", "chip/sensor", "chip/label" or one of the last two with
     *  the device's name behind it, as shownName() has it, means this one. */
    bool matches(const std::string& wanted) const;
};

/** Every sensor, in the order of the names.
 *
 *  @param[in] hwmon the kernel's folder, /sys/class/hwmon; may be missing
 *  @throws std::system_error when they cannot be looked for, which does not
 *          mean that there are none */
std::vector<TemperatureSensor>
temperatureSensors(const std::filesystem::path& hwmon);

/** A reading in degrees Celsius.
 *
 *  @throws std::runtime_error when the sensor cannot be read */
double degreesCelsius(const std::filesystem::path& input);

} // namespace healthintf::hostmon
