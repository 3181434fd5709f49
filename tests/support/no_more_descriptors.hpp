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
    NoMoreDescriptors()
    {
        check(getrlimit(RLIMIT_NOFILE, &before));
        rlimit none = before;
        none.rlim_cur = 0;
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
