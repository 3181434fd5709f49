// SPDX-License-Identifier: Apache-2.0
#include "message_test.hpp"

#include <sdbusplus/message/read.hpp>

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

using Map = std::map<std::string, uint32_t>;
using Variant = std::variant<bool, int32_t, std::string,
                             std::vector<std::string>, uint32_t, uint64_t>;

class Read : public test::MessageTest
{
  protected:
    /** A message that sd-bus itself has written. */
    template <typename... Args>
    message_t written(const char* types, Args... args)
    {
        message_t m = empty();
        EXPECT_GE(sd_bus_message_append(m.get(), types, args...), 0);
        return seal(m);
    }

    template <typename... Args>
    static void readInto(message_t m, Args&... values)
    {
        message::read(&sdbus_impl, m.get(), values...);
    }
};

TEST_F(Read, TakesWhatSdBusWrote)
{
    bool flag = false;
    uint8_t byte = 0;
    int64_t number = 0;
    double real = 0;
    std::string text;
    message::object_path path;
    readInto(written("byxdso", 1, 2, int64_t{-3}, 4.5, "five", "/six"), flag,
             byte, number, real, text, path);
    EXPECT_TRUE(flag);
    EXPECT_EQ(byte, 2);
    EXPECT_EQ(number, -3);
    EXPECT_EQ(real, 4.5);
    EXPECT_EQ(text, "five");
    EXPECT_EQ(path.str, "/six");
}

TEST_F(Read, TakesContainersThatSdBusWrote)
{
    std::vector<std::string> texts;
    Map map;
    std::tuple<uint32_t, bool> structure;
    Variant variant;
    readInto(written("asa{su}(ub)v", 2, "a", "b", 1, "k", 7u, 8u, 0, "t",
                     uint64_t{9}),
             texts, map, structure, variant);
    EXPECT_EQ(texts, (std::vector<std::string>{"a", "b"}));
    EXPECT_EQ(map, (Map{{"k", 7}}));
    EXPECT_EQ(structure, std::tuple(8u, false));
    EXPECT_EQ(variant, Variant(uint64_t{9}));
}

TEST_F(Read, GoesOnAfterAVariantOfAnUnknownAlternative)
{
    Variant variant;
    std::string text;
    readInto(written("vs", "(ss)", "skipped", "too", "next"), variant, text);
    EXPECT_EQ(text, "next");
}

TEST_F(Read, ReadsAVariantOfAnUnknownAlternativeAsTheDefault)
{
    Variant read = uint32_t{7};
    sealed(std::variant<double>(1.5)).read(read);
    EXPECT_EQ(read, Variant(false));
}

TEST_F(Read, AppendsToTheContainerThatIsReadInto)
{
    std::vector<std::string> values{"kept"};
    sealed(std::vector<std::string>{"new"}).read(values);
    EXPECT_EQ(values, (std::vector<std::string>{"kept", "new"}));
}

TEST_F(Read, NamesTheCallWhenAValueIsOfAnotherType)
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

TEST_F(Read, NamesTheCallAtTheEndOfTheMessage)
{
    std::string text;
    uint32_t number = 0;
    EXPECT_THROW(sealed("only").read(text, number), exception::SdBusError);
    EXPECT_EQ(text, "only") << "what was read before stays";
    EXPECT_EQ(number, 0u);
}

} // namespace
} // namespace sdbusplus
