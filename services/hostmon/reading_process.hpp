#pragma once

/** @file Reads, in a process of its own, what may hang in the kernel. */

#include "storage/file_descriptor.hpp"

#include <sys/types.h>

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
    /** @param[in] ownRead what to run; what it changes stays in the other
     *             process */
    explicit ReadingProcess(std::function<double()> ownRead);
    ~ReadingProcess();
    ReadingProcess(const ReadingProcess&) = delete;
    ReadingProcess& operator=(const ReadingProcess&) = delete;

    /** What the read gives; blocks as long as it does. There is a process from
     *  the first call on, and another one when it has ended. Only one thread
     *  may call; the process is killed when that ends.
     *
     *  @throws std::runtime_error as the read does, or when there can be no
     *          process */
    double read();

  private:
    void start();
    void end();
    std::optional<std::string> ask() const;

    std::function<double()> inOther;
    host::FileDescriptor socket;
    pid_t process = -1;
};

} // namespace healthintf::hostmon
