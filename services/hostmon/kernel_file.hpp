#pragma once

/** @file The small text files of /proc and /sys. */

#include <filesystem>
#include <string>

namespace healthintf::hostmon
{

/** The content of a file, which may have up to 1 MiB.
 *
 *  @throws std::runtime_error naming the file */
std::string contentOf(const std::filesystem::path& file);

/** The number that stands behind @p label, the first one in @p text.
 *
 *  @param[in] text of a file
 *  @param[in] label what stands in front of the number, blanks apart
 *  @param[in] file the file's name, for the error
 *  @throws std::runtime_error when there is no such number */
double numberAfter(const std::string& text, const std::string& label,
                   const std::filesystem::path& file);

} // namespace healthintf::hostmon
