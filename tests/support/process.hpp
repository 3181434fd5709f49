// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file A program that a test runs and talks to. */

#include <sys/types.h>

#include <chrono>
#include <cstddef>
#include <string>
#include <vector>

namespace healthintf::test
{

/** How long a test waits for anything before it gives up. */
inline constexpr std::chrono::seconds patience{20};

/** A running program with its standard input and output in our hands. Its
 *  standard error is kept. It is killed when the object ends, or the test. */
class Process
{
  public:
    /** @param[in] command program and arguments
     *  @param[in] environment settings of the form NAME=value, in addition to
     *             this process's own */
    explicit Process(const std::vector<std::string>& command,
                     const std::vector<std::string>& environment = {});
    ~Process();
    Process(Process&& other) noexcept;
    Process& operator=(Process&& other) = delete;

    pid_t pid() const
    {
        return process;
    }

    /** Writes one line to the program. */
    void tell(const std::string& line);

    /** Waits for one line of the program.
     *
     *  @throws std::runtime_error when there is none in time */
    std::string hear();

    /** Writes one line and waits for one. */
    std::string ask(const std::string& line);

    /** Ends the program's standard input. */
    void endInput();

    /** Sends a signal. */
    void signal(int number) const;

    /** Waits for the end.
     *
     *  @return the exit status, or the number of the signal plus 128
     *  @throws std::runtime_error when it does not end in time */
    int wait();

    /** Kills the program at once, as if it had crashed. */
    void kill();

    /** The most memory that the program has had so far, in MiB. */
    std::size_t peakMemory() const;

    /** What the program wrote to standard error so far. */
    std::string errors() const;

    /** All that the program wrote to standard output until it closed it. */
    std::string output();

  private:
    pid_t process = -1;
    bool gone = false;
    int status = 0;
    int input = -1;
    int lines = -1;
    int standardError = -1;
    std::string heard;

    bool readMore();
};

/** Waits until a process has ended, whosever child it is.
 *
 *  @return whether it does in time */
bool endsInTime(pid_t process);

/** Runs a program to its end.
 *
 *  @return its output
 *  @throws std::runtime_error with its errors when it does not exit with 0 */
std::string outputOf(const std::vector<std::string>& command,
                     const std::vector<std::string>& environment = {});

} // namespace healthintf::test
