// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Starts dbus-broker-launch without systemd. */

#include <sys/types.h>

#include <filesystem>
#include <string>

namespace healthintf::test
{

/** What dbus-broker-launch is started with. */
struct Launch
{
    std::filesystem::path config;
    /** `user` or `system`. */
    std::string scope;
    /** The address of the listening socket. */
    std::string address;
    /** The folder that is /run/systemd/journal for it. */
    std::filesystem::path journal;
};

/** Starts dbus-broker-launch in a mount namespace of its own, and where that
 *  takes it in a user namespace with the user's own id alone. It is killed when
 *  this process ends, and the broker ends with it.
 *
 *  @param[in] listening the socket that it accepts connections on
 *  @return its process id
 *  @throws std::system_error */
pid_t startLauncher(const Launch& launch, int listening);

} // namespace healthintf::test
