// SPDX-License-Identifier: Apache-2.0
#include <hmi_health.hpp>
#include <hmi_health_value.hpp>

#include <gtest/gtest.h>

#include <cstdint>

namespace health_namespace
{
namespace
{

TEST(HealthValue, HasAWordForEachValue)
{
    EXPECT_STREQ(healthWord(healthNone), "none");
    EXPECT_STREQ(healthWord(healthUnknown), "unknown");
    EXPECT_STREQ(healthWord(healthOk), "OK");
    EXPECT_STREQ(healthWord(healthWarning), "warning");
    EXPECT_STREQ(healthWord(healthCritical), "critical");
}

TEST(HealthValue, HasAWordForAnInvalidNumber)
{
    EXPECT_STREQ(healthWord(5), "invalid");
    EXPECT_STREQ(healthWord(UINT32_MAX), "invalid");
}

TEST(Severity, MapsToAHealthValue)
{
    EXPECT_EQ(HealthStatus::MCATSeverityToHealthStatus(1), 4u);
    EXPECT_EQ(HealthStatus::MCATSeverityToHealthStatus(2), 3u);
    EXPECT_EQ(HealthStatus::MCATSeverityToHealthStatus(3), 2u);
    EXPECT_EQ(HealthStatus::MCATSeverityToHealthStatus(0), 1u);
    EXPECT_EQ(HealthStatus::MCATSeverityToHealthStatus(4), 1u);
    EXPECT_EQ(HealthStatus::MCATSeverityToHealthStatus(7), 1u);
    EXPECT_EQ(HealthStatus::MCATSeverityToHealthStatus(UINT32_MAX), 1u);
}

} // namespace
} // namespace health_namespace
