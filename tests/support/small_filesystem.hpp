// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Runs work on filesystems without space. */

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

/** Expects that @p work returns 0 on a tmpfs mounted at @p at with @p options;
 *  skips the test where mounting is not possible. */
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

/** Limits the files that this process writes to one page, as if the filesystem
 *  were full. Call it in a child process. */
inline void growNoMore()
{
    constexpr rlim_t page = 4096;
    std::signal(SIGXFSZ, SIG_IGN);
    const rlimit most{page, RLIM_INFINITY};
    setrlimit(RLIMIT_FSIZE, &most);
}

} // namespace healthintf::test
