#pragma once

/** @file What an operator asks of the host platform when something is wrong.
 *  Looking changes nothing. */

#include <platform/api.h>

#include <cstddef>
#include <filesystem>
#include <string>
#include <vector>

namespace healthintf::host
{

/** Files of the installation as a program that starts now would read them. */
struct InstalledFiles
{
    /** Where they are looked for, in this order. */
    std::vector<std::filesystem::path> folders;
    /** Those of which at least something can be used. */
    std::size_t usable = 0;
    /** What was left out of them, and why. */
    std::vector<std::string> problems;
};

/** Reads the message registries anew. */
PLATFORM_API InstalledFiles inspectRegistries();

/** Reads the event table anew. */
PLATFORM_API InstalledFiles inspectEventTable();

} // namespace healthintf::host
