// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Replaces a file in one step. */

#include <platform/api.h>

#include <filesystem>
#include <string_view>

namespace healthintf::host
{

/** Replaces a file by one with this content. A reader finds either the old or
 *  the new file complete, also after a crash. Only this user may write to the
 *  new file. Existing files and links are removed and never written to.
 *
 *  Only one process at a time may replace a file.
 *
 *  @throws std::system_error when it cannot be written; the old file stays */
PLATFORM_API void replaceFile(const std::filesystem::path& file,
                              std::string_view content);

} // namespace healthintf::host
