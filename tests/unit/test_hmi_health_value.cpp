#include <hmi_health_value.hpp>

#include <gtest/gtest.h>

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

TEST(HealthValue, HasAWordForANumberThatIsNone)
{
    EXPECT_STREQ(healthWord(5), "invalid");
    EXPECT_STREQ(healthWord(UINT32_MAX), "invalid");
}

} // namespace
} // namespace health_namespace
