// SPDX-License-Identifier: Apache-2.0
#include "message_test.hpp"

#include <sdbusplus/message/append.hpp>

#include <cstdint>
#include <map>
#include <string>
#include <tuple>
#include <variant>
#include <vector>

namespace sdbusplus
{
namespace
{

class Append : public test::MessageTest
{
  protected:
    template <typename... Args>
    message_t appended(const Args&... values)
    {
        message_t m = empty();
        message::append(&sdbus_impl, m.get(), values...);
        return seal(m);
    }
};

TEST_F(Append, WritesWhatSdBusReads)
{
    message_t m = appended(true, uint8_t{2}, int64_t{-3}, 4.5, "five",
                           message::object_path("/six"));
    ASSERT_STREQ(m.get_signature(), "byxdso");
    int flag = 0;
    uint8_t byte = 0;
    int64_t number = 0;
    double real = 0;
    const char* text = nullptr;
    const char* path = nullptr;
    ASSERT_GT(sd_bus_message_read(m.get(), "byxdso", &flag, &byte, &number,
                                  &real, &text, &path),
              0);
    EXPECT_EQ(flag, 1);
    EXPECT_EQ(byte, 2);
    EXPECT_EQ(number, -3);
    EXPECT_EQ(real, 4.5);
    EXPECT_STREQ(text, "five");
    EXPECT_STREQ(path, "/six");
}

TEST_F(Append, WritesContainersThatSdBusReads)
{
    using Map = std::map<std::string, std::variant<uint32_t, bool>>;
    message_t m = appended(std::vector<std::string>{"a", "b"},
                           Map{{"k", uint32_t{7}}, {"l", true}},
                           std::tuple(uint32_t{8}, false));
    ASSERT_STREQ(m.get_signature(), "asa{sv}(ub)");
    const char* texts[2]{};
    const char* keys[2]{};
    uint32_t number = 0;
    int flag = 0;
    uint32_t first = 0;
    int second = 1;
    ASSERT_GT(sd_bus_message_read(m.get(), "asa{sv}(ub)", 2, &texts[0],
                                  &texts[1], 2, &keys[0], "u", &number,
                                  &keys[1], "b", &flag, &first, &second),
              0);
    EXPECT_STREQ(texts[0], "a");
    EXPECT_STREQ(texts[1], "b");
    EXPECT_STREQ(keys[0], "k");
    EXPECT_EQ(number, 7u);
    EXPECT_STREQ(keys[1], "l");
    EXPECT_EQ(flag, 1);
    EXPECT_EQ(first, 8u);
    EXPECT_EQ(second, 0);
}

TEST_F(Append, WritesEmptyContainersWithTheirSignature)
{
    EXPECT_STREQ(appended(std::vector<uint8_t>{}).get_signature(), "ay");
    EXPECT_STREQ((appended(std::map<std::string, std::vector<int32_t>>{})
                      .get_signature()),
                 "a{sai}");
}

TEST_F(Append, ReportsNoValueThatSdBusRefuses)
{
    EXPECT_NO_THROW(empty().append("\xff is no text"));
    EXPECT_NO_THROW(empty().append(message::object_path("no path")));
    EXPECT_NO_THROW(message_t().append(uint32_t{1}));
}

} // namespace
} // namespace sdbusplus
