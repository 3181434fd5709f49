#include "segment_watch.hpp"

#include <sys/inotify.h>

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

/** Whether an event tells of a segment. Which one it was does not matter: a
 * name says nothing that is to be believed. But files that are being made,
 * whose names begin with a dot, are none yet. */
bool tellsOfSegment(const inotify_event& event)
{
    return event.len == 0 || *static_cast<const char*>(event.name) != '.';
}

/** Takes what the kernel has told so far.
 *
 *  @return whether there is something new of a segment */
bool takeEvents(int watched)
{
    alignas(inotify_event) std::array<char, 65536> events{};
    const ssize_t taken = read(watched, events.data(), events.size());
    bool changed = false;
    for (std::size_t at = 0;
         taken > 0 && at < static_cast<std::size_t>(taken) && !changed;)
    {
        const void* next = &events.at(at);
        const auto* event = static_cast<const inotify_event*>(next);
        changed = tellsOfSegment(*event);
        at += sizeof(*event) + event->len;
    }
    return changed;
}

} // namespace

SegmentWatch::SegmentWatch(services::EventLoop& loop,
                           const std::filesystem::path& folder,
                           std::function<void()> changed) :
    watched(inotify_init1(IN_NONBLOCK | IN_CLOEXEC))
{
    check(watched.get(), "inotify_init1");
    std::filesystem::create_directories(folder);
    check(inotify_add_watch(watched.get(), folder.c_str(),
                            IN_CLOSE_WRITE | IN_ATTRIB | IN_ONLYDIR),
          folder.string());
    source = loop.onReadable(
        watched.get(), [fd = watched.get(), changed = std::move(changed)] {
            if (takeEvents(fd))
            {
                changed();
            }
        });
}

} // namespace healthintf::healthmgr
