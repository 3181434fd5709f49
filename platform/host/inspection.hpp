// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Checks the installed files for an operator, without changing
 *  anything. */

#include <platform/api.h>

#include <cstddef>
#include <filesystem>
#include <string>
#include <vector>

namespace healthintf::host
{

/** The installed files as a program that starts now would read them. */
struct InstalledFiles
{
    /** The folders that are searched, in this order. */
    std::vector<std::filesystem::path> folders;
    /** How many files can be used, at least in part. */
    std::size_t usable = 0;
    /** What cannot be used, and why. */
    std::vector<std::string> problems;
};

/** Reads the message registries. */
PLATFORM_API InstalledFiles inspectRegistries();

/** Reads the event table. */
PLATFORM_API InstalledFiles inspectEventTable();

} // namespace healthintf::host
