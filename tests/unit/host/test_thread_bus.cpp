// SPDX-License-Identifier: Apache-2.0
#include "child.hpp"
#include "no_bus.hpp"
#include "thread_bus.hpp"

#include <gtest/gtest.h>

namespace
{

// tests/bus/ tests that the connection to a bus stays open.

TEST(ThreadBus, ReportsThatThereIsNoBus)
{
    healthintf::test::haveNoBus();
    EXPECT_EQ(healthintf::test::inChild([] {
                  try
                  {
                      healthintf::host::threadBus();
                  }
                  catch (const std::system_error& e)
                  {
                      return e.code().value() == ENOENT ? 0 : 2;
                  }
                  return 1;
              }),
              0);
}

} // namespace
