// SPDX-License-Identifier: Apache-2.0
#include "host_log.hpp"
#include "library_test.hpp"

namespace healthintf::host
{
namespace
{

using namespace healthintf::test;

class HostLog : public LibraryTest
{};

TEST_F(HostLog, FillsInFileFunctionAndTheHostsModule)
{
    HOST_LOG(log::warning, "%s.%d.%s: number %d", 5);
    HOST_LOG(log::error, "%s.%d.%s: alone");
    EXPECT_EQ(journal().take(),
              (Lines{"log 2 300 test_host_log.#.TestBody: number 5",
                     "log 1 300 test_host_log.#.TestBody: alone"}));
}

} // namespace
} // namespace healthintf::host
