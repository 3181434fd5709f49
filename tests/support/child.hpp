// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Runs a function in a child process. */

#include <sys/types.h>

#include <functional>
#include <string>

namespace healthintf::test
{

/** A forked process that runs a function and exits, at the latest when the test
 *  ends. Its standard error is kept; it reports to its parent line by line. */
class Child
{
  public:
    /** The child's channel to its parent. */
    class Parent
    {
      public:
        explicit Parent(int fd) : fd(fd)
        {}

        /** Sends one line. */
        void tell(const std::string& line) const;

        /** Waits until a signal ends the process. */
        [[noreturn]] static void waitForever();

      private:
        int fd;
    };

    /** @param[in] work returns the exit status; an exception is written to
     *             standard error and makes the status 125 */
    explicit Child(const std::function<int(const Parent&)>& work);
    ~Child();
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;

    pid_t pid() const
    {
        return process;
    }

    /** Waits for the next line.
     *
     *  @throws std::runtime_error when the child ends without sending one */
    std::string hear();

    /** Kills the child, as if it had crashed, and waits until it is gone. */
    void kill();

    /** Waits for the child's end.
     *
     *  @return its exit status, or the number of its signal plus 128 */
    int wait();

    /** What the child wrote to standard error; call it after the child's end.
     */
    std::string errors();

  private:
    pid_t process = -1;
    int status = -1;
    bool gone = false;
    int toParent = -1;
    int standardError = -1;
};

/** Runs a function in a child and waits for it.
 *
 *  @return the child's status, as Child::wait() */
int inChild(const std::function<int()>& work, std::string* errors = nullptr);

/** Drops root's rights for those of an unprivileged user, if it has them.
 *
 *  @throws std::runtime_error when the process is still root's */
void leaveRoot();

} // namespace healthintf::test
