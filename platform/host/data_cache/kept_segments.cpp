// SPDX-License-Identifier: Apache-2.0
#include "kept_segments.hpp"

#include <fcntl.h>
#include <pthread.h>

#include <atomic>
#include <utility>

namespace healthintf::host
{
namespace
{

constinit std::atomic_flag lent;

/** Makes the kept segments of this process. Never destroyed: objects that
 *  outlive main() still make queries. */
KeptSegments* makeKept()
{
    static auto* const kept = new KeptSegments;
    pthread_atfork(nullptr, nullptr, [] {
        // Segments that are lent during a fork may be half changed: the child
        // leaves them lent and does not use them.
        if (!lent.test_and_set())
        {
            kept->forget();
            lent.clear();
        }
    });
    return kept;
}

} // namespace

std::optional<FolderState> FolderState::of(int folder)
{
    FolderState state;
    return fstat(folder, &state.status) == 0 ? std::optional(state)
                                             : std::nullopt;
}

bool FolderState::isSettled() const
{
    // Longer than any step of the clock from which files get their times.
    constexpr time_t nanosecondsToSettle = 100'000'000;
    constexpr time_t nanosecondsOfSecond = 1'000'000'000;
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    const time_t seconds = now.tv_sec - status.st_ctim.tv_sec;
    const long rest = now.tv_nsec - status.st_ctim.tv_nsec;
    return seconds > 1 ||
           (seconds >= 0 &&
            seconds * nanosecondsOfSecond + rest > nanosecondsToSettle);
}

bool operator==(const FolderState& a, const FolderState& b)
{
    return a.status.st_dev == b.status.st_dev &&
           a.status.st_ino == b.status.st_ino &&
           a.status.st_ctim.tv_sec == b.status.st_ctim.tv_sec &&
           a.status.st_ctim.tv_nsec == b.status.st_ctim.tv_nsec;
}

bool KeptSegments::belongTo(const std::filesystem::path& path) const
{
    return listed && path.native() == name.native() &&
           listed == FolderState::of(folder.get());
}

void KeptSegments::beginListing(const std::filesystem::path& path)
{
    forget();
    name = path;
    folder =
        FileDescriptor(open(path.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    before = FolderState::of(folder.get());
    if (before && !before->isSettled())
    {
        before.reset();
    }
}

void KeptSegments::forget()
{
    segments.clear();
    listed.reset();
    folder = FileDescriptor();
}

void KeptSegments::add(SegmentReader segment)
{
    if (!before)
    {
        return;
    }
    if (segments.size() == most)
    {
        giveUp();
        return;
    }
    segments.push_back(std::move(segment));
}

void KeptSegments::giveUp()
{
    before.reset();
    forget();
}

void KeptSegments::endListing()
{
    listed = before;
}

LentSegments::LentSegments()
{
    static KeptSegments* const kept = makeKept();
    if (!lent.test_and_set(std::memory_order_acquire))
    {
        shared = kept;
    }
}

LentSegments::~LentSegments()
{
    if (shared != nullptr)
    {
        lent.clear(std::memory_order_release);
    }
}

} // namespace healthintf::host
