// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Simulates a process that has run out of file descriptors. */

#include <sys/resource.h>

#include <cerrno>
#include <system_error>

namespace healthintf::test
{

/** Keeps this process from opening files until its end of scope. */
class NoMoreDescriptors
{
  public:
    /** @param[in] limit as many as the process has open, at most; with 0 poll()
     *             fails, too */
    explicit NoMoreDescriptors(rlim_t limit = 0)
    {
        check(getrlimit(RLIMIT_NOFILE, &before));
        rlimit none = before;
        none.rlim_cur = limit;
        check(setrlimit(RLIMIT_NOFILE, &none));
    }

    ~NoMoreDescriptors()
    {
        setrlimit(RLIMIT_NOFILE, &before);
    }

    NoMoreDescriptors(const NoMoreDescriptors&) = delete;
    NoMoreDescriptors& operator=(const NoMoreDescriptors&) = delete;

  private:
    static void check(int result)
    {
        if (result != 0)
        {
            throw std::system_error(errno, std::generic_category(), "rlimit");
        }
    }

    rlimit before{};
};

} // namespace healthintf::test
