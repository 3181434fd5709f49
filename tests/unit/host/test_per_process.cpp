// SPDX-License-Identifier: Apache-2.0
#include "child.hpp"

#include <platform/per_process.hpp>

#include <gtest/gtest.h>

#include <list>
#include <mutex>
#include <set>
#include <thread>
#include <vector>

namespace healthintf
{
namespace
{

/** A new object, never destroyed, so that leak checkers can reach its values.
 */
template <typename Value>
PerProcess<Value>& another()
{
    static auto& kept = *new std::list<PerProcess<Value>>;
    return kept.emplace_back();
}

TEST(PerProcess, IsOneForAllThreads)
{
    auto& value = another<int>();
    std::mutex mutex;
    std::set<int*> found;
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i)
    {
        threads.emplace_back([&] {
            int* own = &value.get();
            const std::lock_guard lock(mutex);
            found.insert(own);
        });
    }
    for (std::thread& thread : threads)
    {
        thread.join();
    }
    EXPECT_EQ(found.size(), 1U);
    EXPECT_EQ(*found.begin(), &value.get());
}

TEST(PerProcess, IsAnotherOneInAChild)
{
    auto& value = another<int>();
    value.get() = 1;
    EXPECT_EQ(test::inChild([&value] {
                  const bool isNew = value.get() == 0;
                  value.get() = 2;
                  return isNew && value.get() == 2 ? 0 : 1;
              }),
              0);
    EXPECT_EQ(value.get(), 1);
}

TEST(PerProcess, IsFreeInAChildThoughTheParentHoldsIt)
{
    auto& mutex = another<std::mutex>();
    const std::lock_guard lock(mutex.get());
    EXPECT_EQ(test::inChild([&mutex] {
                  return mutex.get().try_lock() ? 0 : 1;
              }),
              0);
}

} // namespace
} // namespace healthintf
