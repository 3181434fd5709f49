// SPDX-License-Identifier: Apache-2.0
#include "common/subscription.hpp"
#include "library_test.hpp"

#include <optional>
#include <stdexcept>
#include <system_error>

namespace healthintf::services
{
namespace
{

using namespace healthintf::test;

class ServiceSubscription : public LibraryTest
{
  protected:
    void tell(uint32_t number)
    {
        connection.signal("/a", "com.example", "Told", "u", number);
    }

    std::vector<uint32_t> heard;
    /** The handler throws for the number 1 and reads too much for the number 2.
     */
    std::optional<Subscription> subscription{
        std::in_place, connection.raw(), "type='signal',member='Told'",
        [this](sdbusplus::message_t& message) {
            uint32_t number = 0;
            message.read(number);
            heard.push_back(number);
            if (number == 1)
            {
                throw std::runtime_error("broken");
            }
            if (number == 2)
            {
                message.read(number);
            }
        }};
};

TEST_F(ServiceSubscription, PassesItsMessagesToTheHandler)
{
    tell(7);
    tell(8);
    EXPECT_EQ(heard, (std::vector<uint32_t>{7, 8}));
    EXPECT_EQ(journal().count("log "), 0u);
}

TEST_F(ServiceSubscription, LosesOnlyTheMessageForWhichItsHandlerThrows)
{
    journal().clear();
    for (uint32_t number = 0; number < 4; ++number)
    {
        tell(number);
    }
    EXPECT_EQ(heard, (std::vector<uint32_t>{0, 1, 2, 3}));
    EXPECT_EQ(journal().take("log "),
              (Lines{"log 2 310 EXCEPTION subscription.#.take: broken",
                     "log 2 310 EXCEPTION subscription.#.take: "
                     "sd_bus_message_read_basic fundamental: "
                     "System.Error.ENXIO: No such device or address"}));
}

TEST_F(ServiceSubscription, EndsWithItsObject)
{
    subscription.reset();
    tell(7);
    EXPECT_TRUE(heard.empty());
}

TEST_F(ServiceSubscription, IsNotMadeWhenItsRuleIsRefused)
{
    try
    {
        const Subscription refused(connection.raw(), "no rule",
                                   [](sdbusplus::message_t&) {});
        FAIL() << "subscribed";
    }
    catch (const std::system_error& e)
    {
        EXPECT_EQ(e.code(), std::errc::invalid_argument);
        EXPECT_STREQ(e.what(), "sd_bus_add_match: Invalid argument");
    }
}

} // namespace
} // namespace healthintf::services
