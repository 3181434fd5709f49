#pragma once

/** @file Files of the installation that a process reads, such as message
 *  registries. */

#include <filesystem>
#include <string>
#include <system_error>
#include <vector>

namespace healthintf::host
{

/** The folders of an environment variable, separated by colons, or those of
 *  @p otherwise when it is not set. */
std::vector<std::filesystem::path> searchPath(const char* variable,
                                              const char* otherwise);

/** Where message registries, and files of the event table, are looked for, in
 *  this order. */
std::vector<std::filesystem::path> registryFolders();
std::vector<std::filesystem::path> eventFolders();

/** The files *.json of a folder in the order of their names; none when it is
 *  not there.
 *
 *  @param[out] error why the folder could not be read */
std::vector<std::filesystem::path>
jsonFilesOf(const std::filesystem::path& folder, std::error_code& error);

/** What a file holds.
 *
 *  @throws std::runtime_error when it cannot be read */
std::string contentOf(const std::filesystem::path& file);

} // namespace healthintf::host
