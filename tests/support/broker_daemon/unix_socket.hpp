// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Sockets in the filesystem. */

#include "handles.hpp"

#include <filesystem>

namespace healthintf::test
{

/** Binds a socket that everybody may use.
 *
 *  @param[in] type SOCK_STREAM, which also listens, or SOCK_DGRAM
 *  @throws std::system_error */
Descriptor bindSocket(const std::filesystem::path& path, int type);

} // namespace healthintf::test
