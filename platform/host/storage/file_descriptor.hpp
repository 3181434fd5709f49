// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Owner of a file descriptor. */

#include <unistd.h>

#include <utility>

namespace healthintf::host
{

/** Owns a file descriptor and closes it. */
class FileDescriptor
{
  public:
    FileDescriptor() = default;
    explicit FileDescriptor(int fd) : held(fd)
    {}

    FileDescriptor(FileDescriptor&& other) noexcept :
        held(std::exchange(other.held, -1))
    {}

    FileDescriptor& operator=(FileDescriptor&& other) noexcept
    {
        std::swap(held, other.held);
        return *this;
    }

    ~FileDescriptor()
    {
        if (held >= 0)
        {
            close(held);
        }
    }

    int get() const
    {
        return held;
    }

  private:
    int held = -1;
};

} // namespace healthintf::host
