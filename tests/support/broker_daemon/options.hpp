// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file The command line of broker-daemon: options of dbus-daemon. */

#include <filesystem>
#include <string>
#include <vector>

namespace healthintf::test
{

/** The options of dbus-daemon that the tests and dbus-run-session use. */
struct Options
{
    std::filesystem::path config;
    /** The descriptor that the address is written to; -1 for none. */
    int addressTo = -1;
    /** The descriptor that the broker's process id is written to; -1 for none.
     */
    int pidTo = -1;
};

/** @throws std::invalid_argument for an unknown option */
Options readOptions(const std::vector<std::string>& arguments);

/** The part of a bus configuration that broker-daemon itself handles. */
struct BusConfig
{
    /** The path of the socket that the bus listens on. */
    std::filesystem::path socket;
    /** `user` or `system`, as dbus-broker-launch calls the type. */
    std::string scope;
};

/** Reads a bus configuration, without the files that it includes.
 *
 *  @throws std::runtime_error when it names no socket in the filesystem */
BusConfig readConfig(const std::filesystem::path& file);

} // namespace healthintf::test
