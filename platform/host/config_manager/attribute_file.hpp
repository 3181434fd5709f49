// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Reads and formats the file of the attributes. */

#include <platform/api.h>

#include <cstdint>
#include <filesystem>
#include <map>
#include <string>

namespace healthintf::host
{

/** Values of attributes by their names. */
using Attributes = std::map<std::string, int32_t>;

/** Another number for each format of the file's content. */
inline constexpr int attributeFileVersion = 1;

/** The path of the attributes' file in a folder. */
std::filesystem::path attributeFilePath(const std::filesystem::path& folder);

/** Reads a file; no attributes when it is missing.
 *
 *  @throws std::system_error when it cannot be read, is a link, too large or of
 *          another version, DamagedFile when it is damaged, std::bad_alloc */
Attributes readAttributeFile(const std::filesystem::path& file);

/** Puts a name in quotes and escapes everything but ASCII.
 *
 *  @param[in] name UTF-8 */
std::string quoteName(const std::string& name);

/** Formats the content of the file. */
std::string formatAttributes(const Attributes& attributes);

/** Reads the attributes in this user's state folder, without locking or
 *  creating anything.
 *
 *  @throws std::exception as readAttributeFile(), and when there is no state
 *          folder */
PLATFORM_API Attributes readAttributes();

} // namespace healthintf::host
