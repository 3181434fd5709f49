// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Folders whose segments a query keeps open. */

#include "data_cache/kept_segments.hpp"
#include "storage/file_descriptor.hpp"

#include <fcntl.h>

#include <filesystem>

namespace healthintf::test
{

/** What a folder shows of its changes. */
inline host::FolderState stateOf(const std::filesystem::path& folder)
{
    const host::FileDescriptor opened(
        open(folder.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    return host::FolderState::of(opened.get()).value();
}

/** Waits until a change of a folder shows, which the clock decides. */
inline void waitUntilSettled(const std::filesystem::path& folder)
{
    while (!stateOf(folder).isSettled())
    {}
}

} // namespace healthintf::test
