// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file The error number of a store's failure, and what an operator can do. */

#include <platform/api.h>

#include <exception>
#include <string>

namespace healthintf::host
{

/** The error number of an exception, such as an errno; never 0. */
PLATFORM_API int getErrorNumber(const std::exception& failure) noexcept;

/** What an operator can do about a failure in a store's folder.
 *
 *  @param[in] code an errno
 *  @param[in] variable the environment variable that sets the parent folder */
PLATFORM_API std::string folderRemedy(int code, const std::string& variable);

} // namespace healthintf::host
