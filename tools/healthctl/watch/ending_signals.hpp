// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file The signals that end "healthctl watch" and "history --follow". */

#include <csignal>
#include <vector>

namespace healthintf::healthctl
{

/** SIGHUP, SIGINT, SIGQUIT and SIGTERM, without those that this process
 *  ignores. */
std::vector<int> listEndingSignals();

/** While it lives, these signals end the process at once with 0, also when they
 *  are blocked otherwise and came before. It is for writing: a reader that does
 *  not read may let a write wait without end. */
class ImmediateEnd
{
  public:
    using LastAct = void (*)();

    /** @param[in] act is done before the process ends, and may do only what
     *             a signal's handler may */
    explicit ImmediateEnd(LastAct act = [] {});
    ~ImmediateEnd();
    ImmediateEnd(const ImmediateEnd&) = delete;
    ImmediateEnd& operator=(const ImmediateEnd&) = delete;

  private:
    sigset_t before{};
};

/** From now on a write to a pipe that nobody reads ends the process with 0,
 * also when the parent process has it ignore SIGPIPE. */
void endWithReader();

} // namespace healthintf::healthctl
