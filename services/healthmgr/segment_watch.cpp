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

/** Takes what the kernel has told so far. Which file it was does not matter: a
 *  name says nothing that is to be believed. */
void takeEvents(int watched)
{
    std::array<char, 65536> events{};
    const ssize_t taken = read(watched, events.data(), events.size());
    static_cast<void>(taken);
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
                            IN_CLOSE_WRITE | IN_ONLYDIR),
          folder.string());
    source = loop.onReadable(
        watched.get(), [fd = watched.get(), changed = std::move(changed)] {
            takeEvents(fd);
            changed();
        });
}

} // namespace healthintf::healthmgr
