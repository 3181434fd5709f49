// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Finds and reads installed files, such as message registries. */

#include <cstddef>
#include <filesystem>
#include <string>
#include <system_error>
#include <vector>

namespace healthintf::host
{

/** The environment variables that list the folders of message registries and of
 *  event table files. */
inline constexpr const char* registryPathVariable = "HEALTHINTF_REGISTRY_PATH";
inline constexpr const char* eventPathVariable = "HEALTHINTF_EVENT_PATH";

/** The largest file that is read, in bytes. */
inline constexpr std::size_t maxDataFile = 64UL << 20;

/** Splits the folders in an environment variable at colons; those of @p
 *  otherwise when the variable is not set. */
std::vector<std::filesystem::path> splitSearchPath(const char* variable,
                                                   const char* otherwise);

/** The folders of message registries, and of event table files, in the order in
 *  which they are read. */
std::vector<std::filesystem::path> registryFolders();
std::vector<std::filesystem::path> eventFolders();

/** Lists the files *.json of a folder, sorted by name; none when the folder is
 *  missing.
 *
 *  @param[out] error why the folder could not be read */
std::vector<std::filesystem::path>
listJsonFiles(const std::filesystem::path& folder, std::error_code& error);

/** Logs each folder that does not exist, if the environment variable is set. */
void warnAboutMissingFolders(const char* variable,
                             const std::vector<std::filesystem::path>& folders);

/** Descriptors or memory are short, so it is not known now what the files are.
 *  The text names the place. */
class DataShortage : public std::system_error
{
    using std::system_error::system_error;
};

/** Throws DataShortage when an error from a place says only that descriptors or
 *  memory are short. */
void throwIfShort(const std::error_code& error,
                  const std::filesystem::path& place);

/** Reads a whole file.
 *
 *  @throws DataShortage; std::system_error when it cannot be read, is no
 * regular file, or holds more than maxDataFile bytes */
std::string readDataFile(const std::filesystem::path& file);

} // namespace healthintf::host
