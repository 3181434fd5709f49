#pragma once

/** @file Files of the installation that a process reads, such as message
 *  registries. */

#include <cstddef>
#include <filesystem>
#include <string>
#include <system_error>
#include <vector>

namespace healthintf::host
{

/** The environment variables with the folders of message registries and of
 *  files of the event table. */
inline constexpr const char* registryPathVariable = "HEALTHINTF_REGISTRY_PATH";
inline constexpr const char* eventPathVariable = "HEALTHINTF_EVENT_PATH";

/** How many bytes a file may hold. */
inline constexpr std::size_t maxDataFile = 64UL << 20;

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

/** Logs each folder that does not exist, if the environment variable that
 *  names them is set. */
void warnOfMissing(const char* variable,
                   const std::vector<std::filesystem::path>& folders);

/** What a file holds.
 *
 *  @throws std::system_error when it cannot be read, is no regular file, or
 *          holds more than maxDataFile bytes */
std::string contentOf(const std::filesystem::path& file);

} // namespace healthintf::host
