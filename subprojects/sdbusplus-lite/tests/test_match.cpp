// SPDX-License-Identifier: Apache-2.0
#include "peers.hpp"

#include <gtest/gtest.h>
#include <sdbusplus/bus/match.hpp>

#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace sdbusplus
{
namespace
{

namespace rules = bus::match::rules;

class Match : public testing::Test
{
  protected:
    static void tell(test::Peers& peers, const std::string& text)
    {
        message_t m = peers.far.new_signal("/a", "com.example", "Told");
        m.append(text);
        m.signal_send();
        peers.settle();
    }
    void tell(const std::string& text)
    {
        tell(peers, text);
    }

    test::Peers peers;
    std::vector<std::string> heard;
    const std::string rule = rules::type::signal() + rules::member("Told");
};

TEST_F(Match, HandsEachMatchingMessageToItsCallback)
{
    bus::match_t match(peers.near, rule, [this](message_t& m) {
        heard.push_back(m.unpack<std::string>());
    });
    tell("one");
    tell("two");
    EXPECT_EQ(heard, (std::vector<std::string>{"one", "two"}));
}

TEST_F(Match, EndsTheSubscriptionWithTheObject)
{
    {
        bus::match_t match(peers.near, rule, [this](message_t&) {
            heard.emplace_back("x");
        });
    }
    tell("one");
    EXPECT_TRUE(heard.empty());
}

TEST_F(Match, StaysSubscribedWhenMoved)
{
    bus::match_t first(peers.near, rule, [this](message_t&) {
        heard.emplace_back("x");
    });
    const bus::match_t second(std::move(first));
    tell("one");
    EXPECT_EQ(heard.size(), 1u);
}

TEST_F(Match, TakesAHandlerInTheTermsOfC)
{
    int count = 0;
    const auto handler = [](sd_bus_message*, void* context, sd_bus_error*) {
        return ++*static_cast<int*>(context);
    };
    bus::match_t match(peers.near, rule, handler, &count);
    tell("one");
    tell("two");
    EXPECT_EQ(count, 2);
}

TEST_F(Match, EndsTheProcessWhenItsCallbackThrows)
{
    const auto fail = [this] {
        // libsystemd refuses connections of before a fork.
        test::Peers own;
        bus::match_t match(own.near, rule, [](message_t&) {
            throw std::runtime_error("broken");
        });
        tell(own, "one");
    };
    EXPECT_DEATH(fail(), "broken");
}

TEST_F(Match, RefusesABadRule)
{
    EXPECT_THROW(bus::match_t(peers.near, "no rule", [](message_t&) {}),
                 exception::SdBusError);
    bus_t none(nullptr);
    EXPECT_THROW(bus::match_t(none, rule, [](message_t&) {}),
                 exception::SdBusError);
}

TEST(MatchRules, SpellTheTermsOfARule)
{
    static_assert(noexcept(rules::type::signal()));
    static_assert(noexcept(rules::member("C")));
    static_assert(noexcept(rules::argN(2, "x")));
    static_assert(noexcept(rules::nameOwnerChanged()));
    EXPECT_EQ(rules::type::signal(), "type='signal',");
    EXPECT_EQ(rules::sender("a.b"), "sender='a.b',");
    EXPECT_EQ(rules::interface("a.b"), "interface='a.b',");
    EXPECT_EQ(rules::member("C"), "member='C',");
    EXPECT_EQ(rules::path("/a"), "path='/a',");
    EXPECT_EQ(rules::path_namespace("/a"), "path_namespace='/a',");
    EXPECT_EQ(rules::argN(2, "x"), "arg2='x',");
    EXPECT_EQ(rules::nameOwnerChanged(),
              "type='signal',sender='org.freedesktop.DBus',"
              "member='NameOwnerChanged',");
}

} // namespace
} // namespace sdbusplus
