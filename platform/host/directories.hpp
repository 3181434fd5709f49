// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Where the host platform keeps its state. */

#include <platform/api.h>

#include <filesystem>

namespace healthintf::host
{

/** The folders of daemons that run as root. */
inline constexpr const char* systemRuntimeDirectory = "/run/healthintf";
inline constexpr const char* systemStateDirectory = "/var/lib/healthintf";

/** The folder of files that last until the next boot: $HEALTHINTF_RUNTIME_DIR,
 *  or /run/healthintf for root, or $XDG_RUNTIME_DIR/healthintf.
 *
 *  @throws std::runtime_error when this user has none of them set */
PLATFORM_API std::filesystem::path runtimeDirectory();

/** The folder of files that survive a reboot: $HEALTHINTF_STATE_DIR, or
 *  /var/lib/healthintf for root, or healthintf in $XDG_STATE_HOME or else in
 *  $HOME/.local/state.
 *
 *  @throws std::runtime_error when this user has none of them set */
PLATFORM_API std::filesystem::path stateDirectory();

/** The folder of the data cache, where each process has a segment.
 *
 *  @throws std::runtime_error as runtimeDirectory() */
PLATFORM_API std::filesystem::path dataCacheFolder();

/** The folder of the mirror of the System Event Log.
 *
 *  @throws std::runtime_error as runtimeDirectory() */
PLATFORM_API std::filesystem::path selMirrorFolder();

} // namespace healthintf::host
