// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Runs a program and talks to it. */

#include <sys/types.h>

#include <chrono>
#include <cstddef>
#include <string>
#include <vector>

namespace healthintf::test
{

/** How long tests wait for an event before they fail. */
inline constexpr std::chrono::seconds patience{20};

/** How long they wait for a compiler, which other programs may slow down. */
inline constexpr std::chrono::seconds compilerPatience{180};

/** A running program with its standard input and output connected to the test.
 *  Its standard error is kept. It is killed when the object or the test ends.
 */
class Process
{
  public:
    /** @param[in] command program and arguments
     *  @param[in] environment settings NAME=value that change this process's
     *             environment
     *  @param[in] limit how long to wait for each output and for the end */
    explicit Process(const std::vector<std::string>& command,
                     const std::vector<std::string>& environment = {},
                     std::chrono::seconds limit = patience);
    ~Process();
    Process(Process&& other) noexcept;
    Process& operator=(Process&& other) = delete;

    pid_t pid() const
    {
        return process;
    }

    /** Writes one line to the program's standard input. */
    void tell(const std::string& line);

    /** Waits for one line of the program's standard output.
     *
     *  @throws std::runtime_error after a timeout */
    std::string hear();

    /** Writes one line and waits for the answer. */
    std::string ask(const std::string& line);

    /** Closes the program's standard input. */
    void endInput();

    void signal(int number) const;

    /** Waits until the program ends.
     *
     *  @return the exit status, or the number of the signal plus 128
     *  @throws std::runtime_error after a timeout */
    int wait();

    /** Kills the program, as if it had crashed. */
    void kill();

    /** The program's peak memory so far, in MiB. */
    std::size_t peakMemory() const;

    /** What the program has written to standard error so far. */
    std::string errors() const;

    /** Reads standard output until the program closes it. */
    std::string output();

  private:
    std::chrono::seconds limit;
    pid_t process = -1;
    bool gone = false;
    int status = 0;
    int input = -1;
    int lines = -1;
    int standardError = -1;
    std::string heard;

    bool readMore();
    void awaitEnd(std::chrono::seconds atMost);
};

/** Waits until a process, of any parent, has ended.
 *
 *  @return false after a timeout */
bool endsInTime(pid_t process, std::chrono::seconds limit = patience);

/** Runs a program until it ends.
 *
 *  @return its output
 *  @throws std::runtime_error with its standard error if it does not exit with
 *  0 */
std::string readOutput(const std::vector<std::string>& command,
                       const std::vector<std::string>& environment = {},
                       std::chrono::seconds limit = patience);

} // namespace healthintf::test
