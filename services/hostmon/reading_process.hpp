// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Runs reads that may hang in the kernel in another process. */

#include "storage/file_descriptor.hpp"

#include <sys/types.h>

#include <chrono>
#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace healthintf::hostmon
{

/** A read that may hang. It is given what the read before kept, at first an
 *  empty text, and puts there what it keeps, at most 8 KiB. What a read keeps
 *  that throws is forgotten. */
using KeepingRead = std::function<double(std::string& kept)>;

/** Runs one read repeatedly in a child process.
 *
 *  A call on a filesystem whose server is gone may hang in the kernel, where
 *  not even SIGKILL ends it. A process with such a thread keeps its connections
 *  and files until the call returns, so its bus names stay taken and its
 *  records stay. The child process has neither connections nor records. What
 *  the read keeps is here, as the child process may be replaced. */
class ReadingProcess
{
  public:
    /** The timeout of a read that may take any time. */
    static constexpr std::chrono::milliseconds noTimeout{-1};

    /** @param[in] ownRead what to run; other changes that it makes to memory
     *  than to what it keeps stay in the child process
     *  @param[in] ownTimeout how long one child process may take for a read
     *  before another one replaces it: what the first one waits for may be
     *  gone, and a file that can be read be in its place */
    explicit ReadingProcess(KeepingRead ownRead,
                            std::chrono::milliseconds ownTimeout = noTimeout);
    ~ReadingProcess();
    ReadingProcess(const ReadingProcess&) = delete;
    ReadingProcess& operator=(const ReadingProcess&) = delete;

    /** How many child processes that took too long there may be beside the
     *  present one. SIGKILL does not end one whose call does not return, so
     *  each replacement may leave one behind. With that many, the present one
     *  is waited for. */
    static constexpr std::size_t mostLeft = 4;

    /** Runs the read and waits for its result, even longer than the timeout.
     *  The first call starts the child process, and later calls start another
     *  one when it has ended. Only one thread may call this; the child process
     *  is killed when that thread ends.
     *
     *  @throws std::runtime_error as the read does, or when there can be no
     *          child process */
    double read();

  private:
    void start();
    void end();
    void leave();
    void forgetEnded();
    bool waitForAnswer() const;
    std::optional<std::string> requestReading();

    KeepingRead childRead;
    std::string kept;
    std::chrono::milliseconds timeout;
    /** To the child process; none without one, so that a reading never waits
     *  for one that is not there. */
    host::FileDescriptor socket;
    pid_t process = -1;
    /** Were killed, and may not have ended. */
    std::vector<pid_t> left;
};

} // namespace healthintf::hostmon
