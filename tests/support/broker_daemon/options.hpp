// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file What broker-daemon is asked for, in the words of dbus-daemon. */

#include <filesystem>
#include <string>
#include <vector>

namespace healthintf::test
{

/** The options of dbus-daemon that the tests and dbus-run-session use. */
struct Options
{
    std::filesystem::path config;
    /** Where the address is written to; -1 for nowhere. */
    int addressTo = -1;
    /** Where the broker's process id is written to; -1 for nowhere. */
    int pidTo = -1;
};

/** @throws std::invalid_argument for what broker-daemon does not know */
Options readOptions(const std::vector<std::string>& arguments);

/** What broker-daemon does itself of a bus's configuration. */
struct BusConfig
{
    /** The path of the socket that the bus listens on. */
    std::filesystem::path socket;
    /** `user` or `system`, as dbus-broker-launch calls the type. */
    std::string scope;
};

/** Reads the configuration of a bus, without what it includes.
 *
 *  @throws std::runtime_error when it names no socket in the filesystem */
BusConfig readConfig(const std::filesystem::path& file);

} // namespace healthintf::test
