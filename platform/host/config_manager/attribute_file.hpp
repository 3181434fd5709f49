#pragma once

/** @file The file that holds the attributes, as it is read and
 *  written. */

#include <platform/api.h>

#include <cstdint>
#include <filesystem>
#include <map>
#include <string>

namespace healthintf::host
{

/** Values of attributes by their names. */
using Attributes = std::map<std::string, int32_t>;

/** Changes with what the file holds. */
inline constexpr int attributeFileVersion = 1;

/** The attributes' file of a folder. */
std::filesystem::path attributeFileIn(const std::filesystem::path& folder);

/** What a file holds; nothing when it is not there.
 *
 *  @throws std::system_error when it cannot be read, which a link is not, is
 *          too large or of another version, DamagedFile when it is damaged,
 *          std::bad_alloc */
Attributes readAttributeFile(const std::filesystem::path& file);

/** A name in quotes, with nothing but ASCII, whatever it holds.
 *
 *  @param[in] name UTF-8 */
std::string quoted(const std::string& name);

/** What a file has to hold. */
std::string textOf(const Attributes& attributes);

/** The attributes of this user's state folder that were ever set. Nothing is
 *  locked or made, and nobody waited for.
 *
 *  @throws std::exception as readAttributeFile(), and when there is no state
 *          folder */
PLATFORM_API Attributes readAttributes();

} // namespace healthintf::host
