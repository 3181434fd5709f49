// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file The signals that end "healthctl watch". */

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

} // namespace healthintf::healthctl
