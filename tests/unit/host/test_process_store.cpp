// SPDX-License-Identifier: Apache-2.0
#include "child.hpp"
#include "storage/process_store.hpp"

#include <gtest/gtest.h>

#include <unistd.h>

#include <future>
#include <list>
#include <memory>
#include <stdexcept>
#include <thread>
#include <vector>

namespace healthintf::host
{
namespace
{

struct Store
{
    int number;
};

class OpenStore : public testing::Test
{
  protected:
    Store& get()
    {
        return once.get([this] {
            ++openings;
            return std::make_unique<Store>(Store{openings});
        });
    }

    /** Keeps the stores, which are never closed, reachable for leak
     *  checkers. */
    static ProcessStore<Store>& another()
    {
        static auto& kept = *new std::list<ProcessStore<Store>>;
        return kept.emplace_back();
    }

    ProcessStore<Store>& once = another();
    int openings = 0;
};

TEST_F(OpenStore, IsOneForAProcess)
{
    EXPECT_EQ(once.opened(), nullptr);
    Store& store = get();
    EXPECT_EQ(&get(), &store);
    EXPECT_EQ(once.opened(), &store);
    EXPECT_EQ(openings, 1);
}

TEST_F(OpenStore, IsOneForAllThreads)
{
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i)
    {
        threads.emplace_back([this] {
            get();
        });
    }
    for (std::thread& thread : threads)
    {
        thread.join();
    }
    EXPECT_EQ(openings, 1);
}

TEST_F(OpenStore, IsTriedAgainAfterAFailure)
{
    EXPECT_THROW(once.get([]() -> std::unique_ptr<Store> {
        throw std::runtime_error("broken");
    }),
                 std::runtime_error);
    EXPECT_EQ(once.opened(), nullptr);
    EXPECT_EQ(get().number, 1);
}

TEST_F(OpenStore, IsAnotherOneInAChild)
{
    get();
    EXPECT_EQ(test::inChild([this] {
                  return once.opened() == nullptr && get().number == 2 ? 0 : 1;
              }),
              0);
    EXPECT_EQ(get().number, 1);
}

TEST_F(OpenStore, IsOpenedInAChildOfAProcessThatIsOpeningIt)
{
    std::promise<void> opening;
    std::promise<void> forked;
    std::thread opener([&] {
        once.get([&] {
            opening.set_value();
            forked.get_future().wait();
            return std::make_unique<Store>(Store{1});
        });
    });
    opening.get_future().wait();
    EXPECT_EQ(test::inChild([this] {
                  constexpr unsigned longestChild = 10;
                  alarm(longestChild);
                  return get().number == 1 ? 0 : 1;
              }),
              0);
    forked.set_value();
    opener.join();
}

} // namespace
} // namespace healthintf::host
