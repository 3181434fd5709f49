// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file What a child of fork() does not take over from its parent. */

#include <sys/types.h>

#include <unistd.h>

#include <atomic>
#include <memory>

namespace healthintf
{

/** A value that each process makes for itself at its first use.
 *
 *  In a child of fork() the value of the parent may be half changed, or locked
 *  by a thread that the child does not have. So the child gets a new one.
 *  Thread-safe without a lock. Values are never destroyed: objects that outlive
 *  main() may use them.
 *
 *  @tparam Value is made without arguments */
template <typename Value>
class PerProcess
{
  public:
    /** The value of this process.
     *
     *  @throws what making a value throws */
    Value& get()
    {
        const pid_t self = getpid();
        Entry* found = current.load(std::memory_order_acquire);
        while (found == nullptr || found->process != self)
        {
            auto made = std::make_unique<Entry>();
            made->process = self;
            made->parents = found;
            // Another thread may have been first; found is its entry then.
            if (current.compare_exchange_strong(found, made.get(),
                                                std::memory_order_acq_rel,
                                                std::memory_order_acquire))
            {
                return made.release()->value;
            }
        }
        return found->value;
    }

  private:
    struct Entry
    {
        pid_t process = 0;
        // What the parent has, kept reachable.
        Entry* parents = nullptr;
        Value value{};
    };

    std::atomic<Entry*> current{nullptr};
};

} // namespace healthintf
