// SPDX-License-Identifier: Apache-2.0
#include "library_test.hpp"

#include <com/vexa/olvar/binding_log.hpp>

namespace healthintf::binding
{
namespace
{

using namespace healthintf::test;

class BindingLog : public LibraryTest
{};

TEST_F(BindingLog, DiffersBetweenBindingsOnlyInTheFunction)
{
    logDestruction("~FaultEntry");
    logDestruction("~HealthStatus");
    EXPECT_EQ(journal().take(),
              (Lines{"log 9 128 server.67.~FaultEntry: destructor called, DAL "
                     "true",
                     "log 9 128 server.67.~HealthStatus: destructor called, "
                     "DAL true"}));
}

} // namespace
} // namespace healthintf::binding
