#pragma once

/** @file Reads, in a process of its own, what may hang in the kernel. */

#include "storage/file_descriptor.hpp"

#include <sys/types.h>

#include <chrono>
#include <functional>
#include <optional>
#include <string>

namespace healthintf::hostmon
{

/** Runs a read in another process, which goes on to the next read when one is
 *  done.
 *
 *  A call on a filesystem whose server is gone may hang in the kernel, where
 *  not even SIGKILL ends it. A process with such a thread keeps its connections
 *  and files until the call returns: its names on the bus stay taken, and its
 *  records stay. The process that runs the read has neither. */
class ReadingProcess
{
  public:
    /** How long a read waits that nothing cuts short. */
    static constexpr std::chrono::milliseconds forEver{-1};

    /** @param[in] ownRead what to run; what it changes stays in the other
     *             process
     *  @param[in] ownPatience how long one process may take for a read before
     *             another one tries: what the first one waits for may be gone,
     *             and the file in its place be a good one */
    explicit ReadingProcess(std::function<double()> ownRead,
                            std::chrono::milliseconds ownPatience = forEver);
    ~ReadingProcess();
    ReadingProcess(const ReadingProcess&) = delete;
    ReadingProcess& operator=(const ReadingProcess&) = delete;

    /** What the read gives; blocks until there is something. There is a process
     * from the first call on, and another one when it has ended. Only one
     * thread may call; the process is killed when that ends.
     *
     *  @throws std::runtime_error as the read does, or when there can be no
     *          process */
    double read();

  private:
    void start();
    void end();
    bool answersInTime() const;
    std::optional<std::string> ask();

    std::function<double()> inOther;
    std::chrono::milliseconds patience;
    host::FileDescriptor socket;
    pid_t process = -1;
};

} // namespace healthintf::hostmon
