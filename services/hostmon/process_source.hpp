#pragma once

/** @file Which processes run. */

#include <cstddef>
#include <filesystem>
#include <string>

namespace healthintf::hostmon
{

/** Counts the processes with one of the given names. Zombies do not count.
 *
 *  @param[in] proc the kernel's folder, /proc
 *  @param[in] name one name, or several separated by '|'; 15 bytes of each are
 *  compared, as the kernel keeps no more
 *  @throws std::runtime_error when the folder cannot be read, or when no
 *          process was found and one that could not be read may be the wanted
 *          one */
std::size_t countProcesses(const std::filesystem::path& proc,
                           const std::string& name);

/** Whether the process runs whose id is in a file; false when the file is
 *  missing or holds no id.
 *
 *  @throws std::runtime_error when the file or the process exists and cannot be
 *          read */
bool isPidfileProcessAlive(const std::filesystem::path& proc,
                           const std::filesystem::path& pidfile);

} // namespace healthintf::hostmon
