#pragma once

/** @file Puts a file in the place of another. */

#include <filesystem>
#include <string_view>

namespace healthintf::host
{

/** Puts a file with this content in the place of one of that name, at once and
 *  for good: a reader, or somebody after a crash, finds the one or the other
 *  whole. Its user alone may write to it. Nothing that is there is written to
 *  or followed, whoever made it.
 *
 *  Only for one process at a time.
 *
 *  @throws std::system_error when it cannot be written; the file that is there
 *          stays */
void putInPlace(const std::filesystem::path& file, std::string_view content);

} // namespace healthintf::host
