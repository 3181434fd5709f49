// SPDX-License-Identifier: Apache-2.0
#include "storage/file_descriptor.hpp"

#include <gtest/gtest.h>
#include <sys/eventfd.h>

#include <fcntl.h>

#include <optional>
#include <utility>

namespace healthintf::host
{
namespace
{

bool isOpen(int fd)
{
    return fcntl(fd, F_GETFD) >= 0;
}

int opened()
{
    return eventfd(0, EFD_CLOEXEC);
}

TEST(FileDescriptor, ClosesItsDescriptor)
{
    const int fd = opened();
    {
        const FileDescriptor held(fd);
        EXPECT_EQ(held.get(), fd);
        EXPECT_TRUE(isOpen(fd));
    }
    EXPECT_FALSE(isOpen(fd));
}

TEST(FileDescriptor, BelongsToTheLastObjectThatItWasMovedTo)
{
    const int fd = opened();
    std::optional<FileDescriptor> first(std::in_place, fd);
    std::optional<FileDescriptor> second(std::move(*first));
    first.reset();
    EXPECT_TRUE(isOpen(fd));
    EXPECT_EQ(second->get(), fd);
    second.reset();
    EXPECT_FALSE(isOpen(fd));
}

TEST(FileDescriptor, ClosesItsDescriptorWhenAnotherIsAssigned)
{
    const int before = opened();
    const int after = opened();
    {
        FileDescriptor held(before);
        held = FileDescriptor(after);
        EXPECT_EQ(held.get(), after);
        EXPECT_TRUE(isOpen(after));
        EXPECT_FALSE(isOpen(before));
    }
    EXPECT_FALSE(isOpen(after));
}

TEST(FileDescriptor, ClosesNothingWhenItIsEmpty)
{
    const int other = opened();
    {
        const FileDescriptor none;
        const FileDescriptor failed(-1);
        EXPECT_LT(none.get(), 0);
        EXPECT_LT(failed.get(), 0);
    }
    EXPECT_TRUE(isOpen(other));
    close(other);
}

} // namespace
} // namespace healthintf::host
