// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Runs work where files cannot grow. */

#include "child.hpp"

#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/resource.h>

#include <sched.h>

#include <csignal>
#include <filesystem>
#include <functional>

namespace healthintf::test
{

/** Expects that work on a filesystem of such a size gives 0; skips the test
 *  where none can be mounted. */
inline void expectOnSmallFilesystem(const std::filesystem::path& at,
                                    const char* options,
                                    const std::function<int()>& work)
{
    constexpr int cannot = 77;
    const int status = inChild([&] {
        if (unshare(CLONE_NEWNS) != 0 ||
            mount("none", "/", "", MS_REC | MS_PRIVATE, nullptr) != 0 ||
            mount("tmpfs", at.c_str(), "tmpfs", 0, options) != 0)
        {
            return cannot;
        }
        return work();
    });
    if (status == cannot)
    {
        GTEST_SKIP() << "no filesystem can be mounted here";
    }
    EXPECT_EQ(status, 0) << options;
}

/** Lets this process write no file beyond its first page, as if there were no
 *  space. For a child. */
inline void growNoMore()
{
    constexpr rlim_t page = 4096;
    std::signal(SIGXFSZ, SIG_IGN);
    const rlimit most{page, RLIM_INFINITY};
    setrlimit(RLIMIT_FSIZE, &most);
}

} // namespace healthintf::test
