// SPDX-License-Identifier: Apache-2.0
#include "bus_match.hpp"
#include "library_test.hpp"

#include <stdexcept>

namespace health_namespace::details
{
namespace
{

using namespace healthintf::test;

class BusMatch : public LibraryTest
{
  protected:
    void tell(uint32_t number)
    {
        connection.signal("/a", "com.example", "Told", "u", number);
    }

    const std::string rule = "type='signal',member='Told'";
    const HandlerName name{"file", "handler"};
};

TEST_F(BusMatch, HandsMessagesToItsHandler)
{
    std::vector<uint32_t> heard;
    const auto match =
        makeMatch(bus, rule, name, [&](sdbusplus::message_t& message) {
            uint32_t number = 0;
            message.read(number);
            heard.push_back(number);
            return 0;
        });
    tell(1);
    tell(2);
    EXPECT_EQ(heard, (std::vector<uint32_t>{1, 2}));
}

TEST_F(BusMatch, LogsAHandlersExceptionAndContinues)
{
    int calls = 0;
    const auto match =
        makeMatch(bus, rule, name, [&](sdbusplus::message_t& message) {
            std::string noText;
            switch (++calls)
            {
                case 1:
                    throw std::runtime_error("broken");
                case 2:
                    throw 2;
                case 3:
                    message.read(noText);
                    break;
                default:
                    break;
            }
            return 0;
        });
    journal().clear();
    for (uint32_t i = 0; i < 4; ++i)
    {
        tell(i);
    }
    EXPECT_EQ(calls, 4);
    EXPECT_EQ(journal().take(),
              (Lines{"log 2 271 EXCEPTION file.#.handler: broken",
                     "log 2 271 EXCEPTION file.#.handler: of an unknown "
                     "kind",
                     "log 2 271 EXCEPTION file.#.handler: "
                     "sd_bus_message_read_basic string: System.Error.ENXIO: "
                     "No such device or address"}));
}

TEST_F(BusMatch, ThrowsWhenTheBusRefuses)
{
    const auto ignore = [](sdbusplus::message_t&) {
        return 0;
    };
    EXPECT_THROW(makeMatch(bus, "no rule", name, ignore),
                 sdbusplus::exception::SdBusError);
    if constexpr (seamSeesMatches<>)
    {
        journal().answer("sd_bus_add_match", -ENOBUFS);
        EXPECT_THROW(makeMatch(bus, rule, name, ignore),
                     sdbusplus::exception::SdBusError);
    }
}

TEST_F(BusMatch, EndsTheSubscriptionWithTheObject)
{
    int calls = 0;
    makeMatch(bus, rule, name, [&](sdbusplus::message_t&) {
        return ++calls;
    }).reset();
    tell(1);
    EXPECT_EQ(calls, 0);
}

TEST_F(BusMatch, LetsAHandlerEndItsOwnSubscription)
{
    // Too long for the short-string buffer, so it is on the heap.
    const std::string text(100, 'x');
    std::string seen;
    std::unique_ptr<sdbusplus::bus::match_t> match;
    match = makeMatch(bus, rule, name,
                      [&match, &seen, text](sdbusplus::message_t&) -> int {
                          match.reset();
                          seen = text;
                          throw std::runtime_error("after the end");
                      });
    journal().clear();
    tell(1);
    EXPECT_EQ(seen, text);
    EXPECT_EQ(journal().take("log"),
              Lines{"log 2 271 EXCEPTION file.#.handler: after the end"});
    seen.clear();
    tell(2);
    EXPECT_EQ(seen, "");
}

} // namespace
} // namespace health_namespace::details
