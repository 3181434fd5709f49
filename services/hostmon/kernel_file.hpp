#pragma once

/** @file The small text files of /proc and /sys. */

#include <filesystem>
#include <string>
#include <system_error>

namespace healthintf::hostmon
{

/** The content of a file, which may have up to 1 MiB.
 *
 *  @throws std::system_error naming the file when it cannot be read,
 *          std::runtime_error when it has more */
std::string contentOf(const std::filesystem::path& file);

/** Whether an error says that a file, or what it tells of, is not there. */
bool isGone(const std::error_code& error);

/** Whether an error says nothing of the file, but that this process or the
 *  machine is short of descriptors or memory. */
bool isShortage(const std::error_code& error);

/** The number that stands behind @p label, the first one in @p text.
 *
 *  @param[in] text of a file
 *  @param[in] label what stands in front of the number, blanks apart
 *  @param[in] file the file's name, for the error
 *  @throws std::runtime_error when there is no such number */
double numberAfter(const std::string& text, const std::string& label,
                   const std::filesystem::path& file);

} // namespace healthintf::hostmon
