// SPDX-License-Identifier: Apache-2.0
#include "child.hpp"
#include "no_bus.hpp"

#include <platform/data_abstraction/healthmgr.hpp>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace
{

// tests/bus/ tests what the receiver of the request sees.

TEST(AddHealthObject, ReportsThatThereIsNoBus)
{
    healthintf::test::haveNoBus();
    std::string errors;
    EXPECT_EQ(healthintf::test::inChild(
                  [] {
                      return DataAbstraction::Healthmgr::AddHealthObject(
                                 "com.example", "/com/example", "/a") > 0
                                 ? 0
                                 : 1;
                  },
                  &errors),
              0);
    EXPECT_THAT(errors, testing::HasSubstr("unable to ask com.example for the "
                                           "health node /a: No such file"));
}

} // namespace
