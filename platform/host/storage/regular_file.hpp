// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Reading files that somebody else may have put there. */

#include "file_descriptor.hpp"

#include <cstddef>
#include <filesystem>
#include <string>

namespace healthintf::host
{

/** Opens a regular file for reading. Other kinds are refused: reading a pipe
 *  could block forever.
 *
 *  @param[in] flags further flags of open(), such as O_NOFOLLOW
 *  @param[in] what begins the error's text
 *  @throws std::system_error when it cannot be opened, or is no regular file */
FileDescriptor openRegularFile(const std::filesystem::path& file, int flags,
                               const std::string& what);

/** Reads an open file from its current position to its end.
 *
 *  @param[in] most how many bytes it may hold
 *  @param[in] what begins the error's text
 *  @throws std::system_error when it cannot be read or is larger */
std::string readToEnd(const FileDescriptor& opened, std::size_t most,
                      const std::string& what);

} // namespace healthintf::host
