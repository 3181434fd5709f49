#pragma once

/** @file Which processes live. */

#include <cstddef>
#include <filesystem>
#include <string>

namespace healthintf::hostmon
{

/** How many processes have one of some names; a zombie does not count.
 *
 *  @param[in] proc the kernel's folder, /proc
 *  @param[in] name one, or several with '|' between them; at most 15 bytes of
 *             each are compared, as the kernel keeps no more
 *  @throws std::runtime_error when the folder cannot be read, or there is none
 *          and a process that lives cannot be read, which may be one of them */
std::size_t countProcesses(const std::filesystem::path& proc,
                           const std::string& name);

/** Whether the process lives whose id a file holds. A file that is not there
 *  or holds no id stands for none.
 *
 *  @throws std::runtime_error when the file or the process is there and cannot
 *          be read */
bool livesByPidfile(const std::filesystem::path& proc,
                    const std::filesystem::path& pidfile);

} // namespace healthintf::hostmon
