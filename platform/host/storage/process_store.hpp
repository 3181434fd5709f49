// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file A store that each process opens once. */

#include <platform/per_process.hpp>

#include <sys/types.h>

#include <unistd.h>

#include <atomic>
#include <memory>
#include <mutex>

namespace healthintf::host
{

/** Opens a store at its first use in each process. After a failure the next use
 *  tries again. Thread-safe; for static objects, as the store is never closed.
 *
 *  After fork() a child process opens the store again. It neither uses nor
 *  closes the parent's, which stays reachable for leak checkers. */
template <typename Store>
class ProcessStore
{
  public:
    /** Returns this process's store; opens it if need be.
     *
     *  @param[in] open opens the store and returns it as a std::unique_ptr
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
        // Never deleted: static objects still use it after main().
        const auto* entry = new Entry{made.get(), getpid(), current.load()};
        current.store(entry, std::memory_order_release);
        return *made.release();
    }

    /** Returns this process's store; null when it is not open. */
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
        // The parent process's entry, kept reachable.
        const Entry* parents;
    };

    std::atomic<const Entry*> current{nullptr};
    /** Each process has one of its own: in a child of fork() the parent's may
     *  stay locked. */
    PerProcess<std::mutex> opening;
};

} // namespace healthintf::host
