#pragma once

/** @file Replaces a file at once. */

#include <filesystem>
#include <string_view>

namespace healthintf::healthctl
{

/** Puts a file with this content in the place of one of that name, of which it
 *  has the mode, at once and for good. It is made beside it; a link is
 * followed. What is there and no plain file, as a device, is written into.
 *
 *  @throws std::system_error when it cannot be written; the file that is there
 *          stays as it is */
void writeWholeFile(const std::filesystem::path& file,
                    std::string_view content);

} // namespace healthintf::healthctl
