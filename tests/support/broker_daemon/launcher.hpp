// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Starts dbus-broker-launch without systemd. */

#include <sys/types.h>

#include <filesystem>
#include <string>

namespace healthintf::test
{

/** The settings of dbus-broker-launch. */
struct Launch
{
    std::filesystem::path config;
    /** `user` or `system`. */
    std::string scope;
    /** The address of the listening socket. */
    std::string address;
    /** The folder that the launcher sees as /run/systemd/journal. */
    std::filesystem::path journal;
};

/** Starts dbus-broker-launch in a mount namespace of its own, with a user
 *  namespace if that is needed. The kernel kills it when this process ends, and
 *  the broker ends with it.
 *
 *  @param[in] listening the socket on which the broker accepts connections
 *  @return its process id
 *  @throws std::system_error */
pid_t startLauncher(const Launch& launch, int listening);

} // namespace healthintf::test
