#pragma once

/** @file Which processes live. */

#include <cstddef>
#include <filesystem>
#include <string>
#include <utility>

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

/** The process whose id a file holds, looked for again and again. A file that
 *  is not there or holds no id stands for none. */
class PidfileProcess
{
  public:
    /** @param[in] procFolder the kernel's folder, /proc
     *  @param[in] file the pidfile */
    PidfileProcess(std::filesystem::path procFolder,
                   std::filesystem::path file) :
        proc(std::move(procFolder)),
        pidfile(std::move(file))
    {}

    /** Whether it lives. Another process that has its id later is not it, as
     *  long as the file is as it was.
     *
     *  @throws std::runtime_error when the file or the process is there and
     *          cannot be read */
    bool lives();

  private:
    bool livesAs(const std::string& id);

    std::filesystem::path proc;
    std::filesystem::path pidfile;
    /** What tells the file from a later one, and when its process began. */
    std::string version;
    std::string beginning;
};

} // namespace healthintf::hostmon
