// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Which processes run. */

#include <cstddef>
#include <filesystem>
#include <string>
#include <utility>

namespace healthintf::hostmon
{

/** Counts the processes with one of the given names. Zombies do not count.
 *
 *  @param[in] proc the kernel's folder, /proc
 *  @param[in] name one name, or several separated by '|'; 15 bytes of each are
 *  compared, as the kernel keeps no more of a program's name
 *  @throws std::runtime_error when the folder cannot be read, or when no
 *          process was found and one that could not be read may be the wanted
 *          one */
std::size_t countProcesses(const std::filesystem::path& proc,
                           const std::string& name);

/** The process whose id is in a file, looked for repeatedly. A file that is
 *  missing or holds no id stands for no process. */
class PidfileProcess
{
  public:
    /** @param[in] procFolder the kernel's folder, /proc
     *  @param[in] file the pidfile
     *  @param[in] known the identity() of an object for the same file, whose
     *  work this one goes on with */
    PidfileProcess(std::filesystem::path procFolder, std::filesystem::path file,
                   const std::string& known = "");

    /** Whether it runs. While the file stays the same, another process that
     *  gets the same id later does not count.
     *
     *  @throws std::runtime_error when the file or the process exists and
     *          cannot be read */
    bool isAlive();

    /** Which process the file means, as far as that is known. */
    std::string identity() const;

  private:
    bool isAliveAs(const std::string& id);

    std::filesystem::path proc;
    std::filesystem::path pidfile;
    /** Of the file at the latest look. */
    std::string version;
    /** Of the process that this version of the file means; empty until it was
     *  found running. */
    std::string startTime;
};

} // namespace healthintf::hostmon
