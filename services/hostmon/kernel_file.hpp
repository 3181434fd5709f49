// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Reads the small text files of /proc and /sys. */

#include <filesystem>
#include <string>
#include <system_error>

namespace healthintf::hostmon
{

/** Reads a file of up to 1 MiB.
 *
 *  @throws std::system_error naming the file when it cannot be read,
 *          std::runtime_error when it is larger */
std::string readKernelFile(const std::filesystem::path& file);

/** Whether an error says that a file, or the process or device that it
 *  describes, is gone. */
bool isGone(const std::error_code& error);

/** Parses the number after the first @p label in @p text.
 *
 *  @param[in] text the file's content
 *  @param[in] label what precedes the number; blanks and a colon may be between
 *  them
 *  @param[in] file the file's name, for the error
 *  @throws std::runtime_error when there is no such number */
double parseNumberAfter(const std::string& text, const std::string& label,
                        const std::filesystem::path& file);

} // namespace healthintf::hostmon
