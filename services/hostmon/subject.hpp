// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file What can be watched. */

#include <string>
#include <variant>

namespace healthintf::hostmon
{

/** How much of a filesystem is used, in percent of what users may use. */
struct Filesystem
{
    /** A folder on the filesystem. */
    std::string path;
    /** Where it must be mounted; empty to take the mount point that is found
     *  first. */
    std::string mountPoint{};
};

/** How much memory is available, in percent of all. */
struct Memory
{};

/** The load average for each processor. */
struct Load
{
    /** 1, 5 or 15. */
    int minutes = 5;
};

/** In which part of the time some task waits for a resource, in percent. */
struct Pressure
{
    /** "cpu", "memory" or "io". */
    std::string resource;
    /** The averaging time: 10, 60 or 300. */
    int seconds = 60;
};

/** A temperature in degrees Celsius. */
struct Temperature
{
    /** The chip's name and the sensor's name or label, as in "coretemp/temp1";
     *  "*" for every sensor. */
    std::string sensor;
    /** Whether each device has a component of its own, below the watch's. */
    bool eachDevice = false;
};

/** How many of the wanted processes run. */
struct ProcessAlive
{
    /** The name as in /proc/<pid>/comm; empty when there is a pidfile. */
    std::string name;
    /** A file with the process's id; empty when there is a name. */
    std::string pidfile;
};

using Subject =
    std::variant<Filesystem, Memory, Load, Pressure, Temperature, ProcessAlive>;

/** Whether faults of both subjects may have the same sensor path. */
bool mayShareSensor(const Subject& one, const Subject& other);

} // namespace healthintf::hostmon
