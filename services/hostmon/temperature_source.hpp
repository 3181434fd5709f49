// SPDX-License-Identifier: Apache-2.0
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
    /** The device that the chip belongs to, as its path below /sys/devices, for
     *  example "platform/coretemp.0". It does not change when the kernel
     *  numbers the chips differently, and each device has another. */
    std::string device;

    /** Chip and sensor, for example "coretemp/temp1". */
    std::string name() const;

    /** Name and device for people, for example
     *  "coretemp/temp1 (coretemp.0)". */
    std::string displayName() const;

    /** The last part of the device's path, for example "coretemp.0". */
    std::string deviceName() const;

    /** Device, chip and sensor, which identify the sensor on this machine. */
    std::string id() const;

    /** Whether a configured name means this sensor: "*", "chip/sensor",
     *  "chip/label", or one of the last two followed by the device's name as in
     *  displayName(). */
    bool matches(const std::string& wanted) const;
};

/** Lists all sensors, sorted by name.
 *
 *  @param[in] hwmon the kernel's folder, /sys/class/hwmon; may be missing
 *  @throws std::system_error when the folder cannot be read, so that it is not
 *          known which sensors exist */
std::vector<TemperatureSensor>
listTemperatureSensors(const std::filesystem::path& hwmon);

/** Reads a temperature in degrees Celsius.
 *
 *  @throws std::runtime_error when the sensor cannot be read */
double readDegreesCelsius(const std::filesystem::path& input);

} // namespace healthintf::hostmon
