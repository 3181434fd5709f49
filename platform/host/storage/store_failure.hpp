#pragma once

/** @file The number of a store's failure, and what to do about its folder. */

#include <platform/api.h>

#include <exception>
#include <string>

namespace healthintf::host
{

/** The number of a failure, such as an errno; never 0. */
PLATFORM_API int codeOf(const std::exception& failure) noexcept;

/** What to do about a store's folder, in words.
 *
 *  @param[in] code an errno
 *  @param[in] variable the environment variable that names the folder's
 *             folder */
PLATFORM_API std::string folderRemedy(int code, const std::string& variable);

} // namespace healthintf::host
