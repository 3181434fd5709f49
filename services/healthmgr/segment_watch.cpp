// SPDX-License-Identifier: Apache-2.0
#include "segment_watch.hpp"

#include <sys/inotify.h>
#include <sys/stat.h>

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <system_error>
#include <utility>

namespace healthintf::healthmgr
{
namespace
{

void check(int result, const std::string& what)
{
    if (result < 0)
    {
        throw std::system_error(errno, std::generic_category(), what);
    }
}

/** Whether an event is about a segment. The name is not used to tell which one,
 *  because any process may choose any name. Names with a leading dot are files
 *  that are not yet segments. */
bool concernsSegment(const inotify_event& event)
{
    return event.len == 0 || *static_cast<const char*>(event.name) != '.';
}

/** Reads the pending events.
 *
 *  @return whether one of them is about a segment */
bool takeEvents(int watched)
{
    alignas(inotify_event) std::array<char, 65536> events{};
    const ssize_t taken = read(watched, events.data(), events.size());
    bool changed = false;
    for (std::size_t at = 0; taken > 0 && at < static_cast<std::size_t>(taken);)
    {
        const void* next = &events.at(at);
        const auto* event = static_cast<const inotify_event*>(next);
        changed |= concernsSegment(*event);
        at += sizeof(*event) + event->len;
    }
    return changed;
}

} // namespace

SegmentWatch::SegmentWatch(services::EventLoop& loop,
                           const std::filesystem::path& folder,
                           std::function<void()> changed) :
    folder(folder),
    watched(inotify_init1(IN_NONBLOCK | IN_CLOEXEC))
{
    check(watched.get(), "inotify_init1");
    std::filesystem::create_directories(folder);
    opened = host::FileDescriptor(
        open(folder.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    check(opened.get(), folder.string());
    check(inotify_add_watch(watched.get(), folder.c_str(),
                            IN_CLOSE_WRITE | IN_ATTRIB | IN_DELETE |
                                IN_MOVE_SELF | IN_ONLYDIR),
          folder.string());
    source = loop.onReadable(
        watched.get(), [fd = watched.get(), changed = std::move(changed)] {
            if (takeEvents(fd))
            {
                changed();
            }
        });
}

bool SegmentWatch::isLost() const noexcept
{
    struct stat named
    {};
    struct stat own
    {};
    return stat(folder.c_str(), &named) != 0 ||
           fstat(opened.get(), &own) != 0 || named.st_ino != own.st_ino ||
           named.st_dev != own.st_dev;
}

} // namespace healthintf::healthmgr
