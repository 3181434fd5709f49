#pragma once

/** @file What each process opens once. */

#include <platform/of_each_process.hpp>

#include <sys/types.h>

#include <unistd.h>

#include <atomic>
#include <memory>
#include <mutex>

namespace healthintf::host
{

/** Opens a store at its first use in each process. A failed attempt is made
 *  again at the next use. Thread-safe; for objects that are never destroyed.
 *
 *  A child after fork() may neither use nor close what its parent opened; it
 *  keeps that and opens anew. */
template <typename Store>
class OpenedOnce
{
  public:
    /** What this process has opened.
     *
     *  @param[in] open gives the opened store as a std::unique_ptr
     *  @throws what @p open throws */
    template <typename Open>
    Store& get(Open&& open)
    {
        if (Store* mine = opened())
        {
            return *mine;
        }
        const std::lock_guard lock(opening.get());
        if (Store* mine = opened())
        {
            return *mine;
        }
        std::unique_ptr<Store> made = open();
        // Never closed: objects that outlive main() still use it.
        const auto* entry = new Entry{made.get(), getpid(), current.load()};
        current.store(entry, std::memory_order_release);
        return *made.release();
    }

    /** The same without opening; null when there is none. */
    Store* opened() const noexcept
    {
        const Entry* entry = current.load(std::memory_order_acquire);
        return entry != nullptr && entry->process == getpid() ? entry->store
                                                              : nullptr;
    }

  private:
    struct Entry
    {
        Store* store;
        pid_t process;
        // What the parent opened, kept reachable.
        const Entry* parents;
    };

    std::atomic<const Entry*> current{nullptr};
    /** Each process has one of its own: in a child of fork() the parent's may
     *  stay locked. */
    OfEachProcess<std::mutex> opening;
};

} // namespace healthintf::host
