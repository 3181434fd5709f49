// SPDX-License-Identifier: Apache-2.0
#include "message_test.hpp"

#include <cstdint>
#include <deque>
#include <list>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <tuple>
#include <unordered_map>
#include <utility>
#include <variant>
#include <vector>

namespace sdbusplus
{
namespace
{

using Map = std::map<std::string, uint32_t>;
using Variant = std::variant<bool, int32_t, std::string,
                             std::vector<std::string>, uint32_t, uint64_t>;

class Message : public test::MessageTest
{
  protected:
    template <typename T>
    T echoed(const T& value)
    {
        T read{};
        sealed(value).read(read);
        return read;
    }
};

TEST_F(Message, CarriesEveryBasicTypeUnderItsLetter)
{
    message_t m =
        sealed(true, uint8_t{1}, int16_t{-2}, uint16_t{3}, int32_t{-4},
               uint32_t{5}, int64_t{-6}, uint64_t{7}, 8.5, std::string("nine"),
               "ten", std::string_view("eleven"),
               message::object_path("/twelve"), message::signature("as"));
    ASSERT_STREQ(m.get_signature(), "bynqiuxtdsssog");

    const auto [b, y, n, q, i, u, x, t, d, s1, s2, s3, o, g] =
        m.unpack<bool, uint8_t, int16_t, uint16_t, int32_t, uint32_t, int64_t,
                 uint64_t, double, std::string, std::string, std::string,
                 message::object_path, message::signature>();
    EXPECT_TRUE(b);
    EXPECT_EQ(y, 1);
    EXPECT_EQ(n, -2);
    EXPECT_EQ(q, 3);
    EXPECT_EQ(i, -4);
    EXPECT_EQ(u, 5u);
    EXPECT_EQ(x, -6);
    EXPECT_EQ(t, 7u);
    EXPECT_EQ(d, 8.5);
    EXPECT_EQ(s1, "nine");
    EXPECT_EQ(s2, "ten");
    EXPECT_EQ(s3, "eleven");
    EXPECT_EQ(o.str, "/twelve");
    EXPECT_EQ(g.str, "as");
}

TEST_F(Message, CarriesContainers)
{
    EXPECT_EQ(echoed(std::vector<std::string>{"a", "b"}),
              (std::vector<std::string>{"a", "b"}));
    EXPECT_EQ(echoed(std::list<uint32_t>{1, 2}), (std::list<uint32_t>{1, 2}));
    EXPECT_EQ(echoed(std::deque<uint8_t>{1}), (std::deque<uint8_t>{1}));
    EXPECT_EQ(echoed(std::set<int64_t>{3, 4}), (std::set<int64_t>{3, 4}));
    EXPECT_EQ(echoed(Map{{"x", 1}, {"y", 2}}), (Map{{"x", 1}, {"y", 2}}));
    EXPECT_EQ(echoed(std::unordered_map<uint32_t, bool>{{1, true}}),
              (std::unordered_map<uint32_t, bool>{{1, true}}));
    EXPECT_EQ(echoed(std::vector<uint32_t>{}), std::vector<uint32_t>{});
}

TEST_F(Message, CarriesStructuresAsTuplesAndPairs)
{
    const std::tuple<std::string, uint8_t> tuple{"a", 1};
    EXPECT_EQ(echoed(tuple), tuple);
    const std::pair<bool, Map> pair{true, {{"k", 5}}};
    EXPECT_EQ(echoed(pair), pair);
    EXPECT_STREQ(sealed(pair).get_signature(), "(ba{su})");
}

TEST_F(Message, CarriesEveryAlternativeOfAVariant)
{
    for (const Variant& value :
         {Variant(true), Variant(int32_t{-1}), Variant(std::string("s")),
          Variant(std::vector<std::string>{"a"}), Variant(uint32_t{4}),
          Variant(uint64_t{5})})
    {
        EXPECT_EQ(echoed(value), value);
    }
}

TEST_F(Message, CountsReferencesWhenCopiedAndMoved)
{
    message_t first = empty();
    message_t second = first;
    EXPECT_EQ(first.get(), second.get());
    const message_t third = std::move(second);
    first = message_t();
    EXPECT_FALSE(first);
    EXPECT_TRUE(third);
    EXPECT_STREQ(third.get_member(), "Told");
}

TEST_F(Message, TellsItsHeader)
{
    message_t m = empty();
    EXPECT_STREQ(m.get_path(), "/com/example");
    EXPECT_STREQ(m.get_interface(), "com.example");
    EXPECT_EQ(m.get_sender(), nullptr);
    EXPECT_EQ(m.get_destination(), nullptr);
    EXPECT_TRUE(m.is_signal("com.example", "Told"));
    EXPECT_FALSE(m.is_method_call("com.example", "Told"));
    EXPECT_FALSE(m.is_method_error());
}

TEST_F(Message, FailsToSendNothing)
{
    EXPECT_THROW(message_t().signal_send(), exception::SdBusError);
}

} // namespace
} // namespace sdbusplus
