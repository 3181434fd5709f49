// SPDX-License-Identifier: Apache-2.0
#include "common/service_log.hpp"
#include "library_test.hpp"

namespace healthintf::services
{
namespace
{

using namespace healthintf::test;

class ServiceLog : public LibraryTest
{};

TEST_F(ServiceLog, FillsInFileFunctionAndTheServicesModule)
{
    SERVICE_LOG(log::warning, "%s.%d.%s: number %d", 5);
    SERVICE_LOG(log::error, "%s.%d.%s: alone");
    EXPECT_EQ(journal().take(),
              (Lines{"log 2 310 test_service_log.#.TestBody: number 5",
                     "log 1 310 test_service_log.#.TestBody: alone"}));
}

} // namespace
} // namespace healthintf::services
