#include <platform/notification.h>

#include <gtest/gtest.h>

namespace
{

void ignore(const char*, const char*, const uint8_t*, uint64_t, void*)
{}

TEST(Notification, GivesEachSubscriptionAHandleOfItsOwn)
{
    void* first = LQOVS_receive_signal("name", ignore, nullptr);
    void* second = LQOVS_receive_signal("name", ignore, nullptr);
    EXPECT_NE(first, nullptr);
    EXPECT_NE(second, nullptr);
    EXPECT_NE(first, second);
    LQOVS_receive_signal_free(first);
    LQOVS_receive_signal_free(second);
}

TEST(Notification, RefusesASubscriptionWithoutNameOrCallback)
{
    EXPECT_EQ(LQOVS_receive_signal(nullptr, ignore, nullptr), nullptr);
    EXPECT_EQ(LQOVS_receive_signal("name", nullptr, nullptr), nullptr);
}

TEST(Notification, FreesNothingWithoutHarm)
{
    LQOVS_receive_signal_free(nullptr);
    int other = 0;
    LQOVS_receive_signal_free(&other);
}

} // namespace
