// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Lets writing a file fail, as on a full disk. */

#include "file_content.hpp"
#include "storage/file_descriptor.hpp"

#include <sys/inotify.h>

#include <poll.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <string>
#include <system_error>
#include <utility>

namespace healthintf::test
{

/** A file that cannot be replaced until free(): where its new content would be
 *  written first, there is a folder. */
class BlockedFile
{
  public:
    explicit BlockedFile(std::filesystem::path file) : file(std::move(file))
    {
        std::filesystem::create_directories(obstacle());
        // An empty folder might be removed as the rest of an attempt.
        std::ofstream(obstacle() / "content") << "x";
    }

    ~BlockedFile()
    {
        free();
    }

    BlockedFile(const BlockedFile&) = delete;
    BlockedFile& operator=(const BlockedFile&) = delete;

    void free() const
    {
        std::error_code ignored;
        std::filesystem::remove_all(obstacle(), ignored);
    }

    /** Waits until the file no longer has a text: sooner than the services look
     *  for what has changed without any event.
     *
     *  @return whether that came */
    bool loses(const std::string& text) const
    {
        constexpr std::chrono::seconds patience{8};
        const host::FileDescriptor changes(inotify_init1(IN_CLOEXEC));
        inotify_add_watch(changes.get(), file.parent_path().c_str(),
                          IN_MOVED_TO);
        const auto deadline = std::chrono::steady_clock::now() + patience;
        while (readContent(file).find(text) != std::string::npos)
        {
            const auto left =
                std::chrono::duration_cast<std::chrono::milliseconds>(
                    deadline - std::chrono::steady_clock::now());
            pollfd ready{.fd = changes.get(), .events = POLLIN, .revents = 0};
            if (left.count() <= 0 ||
                poll(&ready, 1, static_cast<int>(left.count())) <= 0)
            {
                return false;
            }
            std::array<char, 4096> events{};
            if (read(changes.get(), events.data(), events.size()) <= 0)
            {
                return false;
            }
        }
        return true;
    }

  private:
    std::filesystem::path obstacle() const
    {
        return file.string() + ".new";
    }

    std::filesystem::path file;
};

} // namespace healthintf::test
