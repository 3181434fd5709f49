// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Replaces a file at once. */

#include <filesystem>
#include <string_view>

namespace healthintf::healthctl
{

/** Replaces the content of a file at once: writes a new file beside it, with
 *  its mode, and renames that. Follows a link. Writes into what is no regular
 *  file, such as a device.
 *
 *  @throws std::system_error when it cannot be written; the file that is there
 *          stays as it is */
void writeWholeFile(const std::filesystem::path& file,
                    std::string_view content);

} // namespace healthintf::healthctl
