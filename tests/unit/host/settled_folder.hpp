// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Waits for folders whose segments a query may keep open. */

#include "data_cache/kept_segments.hpp"
#include "storage/file_descriptor.hpp"

#include <fcntl.h>

#include <filesystem>

namespace healthintf::test
{

/** The folder's state, by which a query notices changes. */
inline host::FolderState readState(const std::filesystem::path& folder)
{
    const host::FileDescriptor opened(
        open(folder.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    return host::FolderState::of(opened.get()).value();
}

/** Waits until the folder's timestamps are old enough that a further change
 *  must alter them. */
inline void waitUntilSettled(const std::filesystem::path& folder)
{
    while (!readState(folder).isSettled())
    {}
}

} // namespace healthintf::test
