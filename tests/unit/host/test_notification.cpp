// SPDX-License-Identifier: Apache-2.0
/** @file Subscribes without a bus; tests/bus/ has the other cases. */

#include "child.hpp"
#include "no_bus.hpp"

#include <platform/notification.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

namespace healthintf::host
{
namespace
{

void ignore(const char*, const char*, const uint8_t*, uint64_t, void*)
{}

TEST(Notification, RefusesASubscriptionWithoutNameOrCallback)
{
    EXPECT_EQ(LQOVS_receive_signal(nullptr, ignore, nullptr), nullptr);
    EXPECT_EQ(LQOVS_receive_signal("name", nullptr, nullptr), nullptr);
}

TEST(Notification, AcceptsNullToFree)
{
    LQOVS_receive_signal_free(nullptr);
}

TEST(Notification, FailsWithoutABusAndLogsThatOnce)
{
    std::string errors;
    EXPECT_EQ(test::inChild(
                  [] {
                      test::haveNoBus();
                      for (int i = 0; i < 3; ++i)
                      {
                          if (LQOVS_receive_signal("name", ignore, nullptr) !=
                              nullptr)
                          {
                              return 1;
                          }
                      }
                      return 0;
                  },
                  &errors),
              0);
    EXPECT_EQ(std::ranges::count(errors, '\n'), 1) << errors;
    EXPECT_NE(errors.find("unable to subscribe to notifications: unable to "
                          "connect to the bus"),
              std::string::npos)
        << errors;
}

} // namespace
} // namespace healthintf::host
