// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file The clocks by which healthmgr knows when something is over. */

#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>

namespace healthintf::healthmgr
{

/** The time of day, which may be set, and the time since the boot, which may
 *  not. */
struct Clocks
{
    /** Names this boot. */
    std::string boot;
    /** Microseconds since the epoch. */
    std::function<int64_t()> wall;
    /** Microseconds since this boot, those while the machine slept included. */
    std::function<int64_t()> sinceBoot;
};

/** The clocks of this machine. healthmgr's unit hides from it what the kernel
 *  says of the boot, so the first healthmgr of a boot names it.
 *
 *  @param[in] nameFile keeps the name; in a folder that lasts until the next
 *             boot. Where it can be neither read nor written, which is logged,
 *             each healthmgr seems to be the first one. */
Clocks systemClocks(const std::filesystem::path& nameFile);

} // namespace healthintf::healthmgr
