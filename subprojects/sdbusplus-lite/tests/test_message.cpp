#include "peers.hpp"

#include <gtest/gtest.h>
#include <sdbusplus/message.hpp>

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

class Message : public testing::Test
{
  protected:
    /** A message that holds @p values and is ready to be read. */
    template <typename... Args>
    message_t sealed(const Args&... values)
    {
        message_t m = empty();
        m.append(values...);
        EXPECT_GE(sd_bus_message_seal(m.get(), 1, 0), 0);
        return m;
    }

    message_t empty()
    {
        return peers.near.new_signal("/com/example", "com.example", "Told");
    }

    template <typename T>
    T echoed(const T& value)
    {
        T read{};
        sealed(value).read(read);
        return read;
    }

    test::Peers peers;
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

TEST_F(Message, ReadsAVariantOfAnUnknownAlternativeAsTheDefault)
{
    Variant read = uint32_t{7};
    sealed(std::variant<double>(1.5)).read(read);
    EXPECT_EQ(read, Variant(false));
}

TEST_F(Message, AppendsToTheContainerThatIsReadInto)
{
    std::vector<std::string> values{"kept"};
    sealed(std::vector<std::string>{"new"}).read(values);
    EXPECT_EQ(values, (std::vector<std::string>{"kept", "new"}));
}

TEST_F(Message, NamesTheCallWhenAValueIsOfAnotherType)
{
    const auto text = [](auto value, message_t m) -> std::string {
        try
        {
            m.read(value);
        }
        catch (const exception::SdBusError& e)
        {
            return e.what();
        }
        return "read";
    };
    const std::string cause = ": System.Error.ENXIO: No such device or address";
    EXPECT_EQ(text(uint32_t{}, sealed("text")),
              "sd_bus_message_read_basic fundamental" + cause);
    EXPECT_EQ(text(std::string{}, sealed(uint32_t{1})),
              "sd_bus_message_read_basic string" + cause);
    EXPECT_EQ(text(false, sealed(uint32_t{1})),
              "sd_bus_message_read_basic bool" + cause);
    EXPECT_EQ(text(std::vector<uint8_t>{}, sealed(uint32_t{1})),
              "sd_bus_message_enter_container emplace_back_container" + cause);
    EXPECT_EQ(text(Map{}, sealed(uint32_t{1})),
              "sd_bus_message_enter_container emplace_container" + cause);
    EXPECT_EQ(text(std::tuple<bool>{}, sealed(uint32_t{1})),
              "sd_bus_message_enter_container tuple" + cause);
    EXPECT_EQ(text(Variant{}, sealed(uint32_t{1})),
              "sd_bus_message_skip variant" + cause);
}

TEST_F(Message, NamesTheCallAtTheEndOfTheMessage)
{
    std::string text;
    uint32_t number = 0;
    EXPECT_THROW(sealed("only").read(text, number), exception::SdBusError);
    EXPECT_EQ(text, "only") << "what was read before stays";
    EXPECT_EQ(number, 0u);
}

TEST_F(Message, ReportsNoValueThatSdBusRefuses)
{
    EXPECT_NO_THROW(empty().append("\xff is no text"));
    EXPECT_NO_THROW(empty().append(message::object_path("no path")));
    EXPECT_NO_THROW(message_t().append(uint32_t{1}));
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
