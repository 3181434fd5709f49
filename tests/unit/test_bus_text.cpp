// SPDX-License-Identifier: Apache-2.0
#include "bus_text.hpp"
#include "direct_connection.hpp"

#include <gtest/gtest.h>
#include <systemd/sd-bus.h>

#include <array>
#include <cstdint>
#include <ios>
#include <stdexcept>
#include <string>
#include <string_view>

namespace health_namespace::details
{
namespace
{

using namespace std::string_literals;

TEST(BusText, TakesWellFormedText)
{
    EXPECT_TRUE(isBusText(""));
    EXPECT_TRUE(isBusText("plain"));
    EXPECT_TRUE(isBusText("\x01\x7f"));
    EXPECT_TRUE(isBusText("\xC2\x80 \xDF\xBF"));
    EXPECT_TRUE(isBusText("\xE0\xA0\x80 \xED\x9F\xBF \xEE\x80\x80"));
    EXPECT_TRUE(isBusText("\xEF\xBF\xBD"));
    EXPECT_TRUE(isBusText("\xF0\x90\x80\x80 \xF4\x8F\xBF\xBD"));
}

TEST(BusText, ChecksEveryByteOfALongText)
{
    const std::string plain(40, 'x');
    EXPECT_TRUE(isBusText(plain));
    for (std::size_t i = 0; i < plain.size(); ++i)
    {
        for (const char bad : {'\0', '\xFF', '\x80'})
        {
            std::string text = plain;
            text[i] = bad;
            EXPECT_FALSE(isBusText(text)) << i;
        }
        std::string accented = plain;
        accented.insert(i, "\xC3\xA9");
        EXPECT_TRUE(isBusText(accented)) << i;
        accented = plain;
        accented[i] = '\x01';
        EXPECT_TRUE(isBusText(accented)) << i;
    }
}

TEST(BusText, ReadsNothingBehindTheText)
{
    const std::string longer = std::string(20, 'x') + "\xFF";
    for (std::size_t size = 0; size <= 20; ++size)
    {
        EXPECT_TRUE(isBusText(std::string_view(longer).substr(0, size)))
            << size;
    }
}

/** The second bytes that Unicode allows after a first byte. */
struct SecondBytes
{
    int first;
    int lowest;
    int highest;
};

TEST(BusText, TakesTheSecondBytesThatUnicodeAllows)
{
    for (const auto& [first, lowest, highest] : {
             SecondBytes{0xC2, 0x80, 0xBF},
             SecondBytes{0xDF, 0x80, 0xBF},
             SecondBytes{0xE0, 0xA0, 0xBF},
             SecondBytes{0xE1, 0x80, 0xBF},
             SecondBytes{0xEC, 0x80, 0xBF},
             SecondBytes{0xED, 0x80, 0x9F},
             SecondBytes{0xEE, 0x80, 0xBF},
             SecondBytes{0xEF, 0x80, 0xBF},
             SecondBytes{0xF0, 0x90, 0xBF},
             SecondBytes{0xF1, 0x80, 0xBF},
             SecondBytes{0xF3, 0x80, 0xBF},
             SecondBytes{0xF4, 0x80, 0x8F},
         })
    {
        for (int second = 0; second <= 0xFF; ++second)
        {
            std::string text{static_cast<char>(first),
                             static_cast<char>(second)};
            text += first < 0xE0 ? "" : first < 0xF0 ? "\x80" : "\x80\x80";
            EXPECT_EQ(isBusText(text), second >= lowest && second <= highest)
                << std::hex << first << " " << second;
        }
    }
}

/** A number as UTF-8 would encode it, whether or not it is a character's. */
std::string encode(uint32_t code)
{
    constexpr std::array<uint32_t, 4> heads{0, 0xC0, 0xE0, 0xF0};
    const uint32_t further = code < 0x80      ? 0
                             : code < 0x800   ? 1
                             : code < 0x10000 ? 2
                                              : 3;
    std::string text(
        1, static_cast<char>(heads.at(further) | code >> (6 * further)));
    for (uint32_t left = further; left-- > 0;)
    {
        text += static_cast<char>(0x80 | (code >> (6 * left) & 0x3F));
    }
    return text;
}

/** Whether sd-bus takes a text into a message. */
bool isTaken(sd_bus* bus, const std::string& text)
{
    sd_bus_message* raw = nullptr;
    EXPECT_GE(sd_bus_message_new_signal(bus, &raw, "/a", "a.b", "C"), 0);
    const healthintf::test::MessagePtr message(raw);
    return sd_bus_message_append_basic(raw, 's', text.c_str()) >= 0;
}

TEST(BusText, IsWhatTheBusTakes)
{
    healthintf::test::DirectConnection connection;
    constexpr uint32_t planeSize = 0x10000;
    constexpr uint32_t planes = 0x12;
    // All of the first plane, and the end of each further one.
    constexpr uint32_t end = 0x100;
    for (uint32_t code = 1; code < planes * planeSize; ++code)
    {
        if (code < planeSize || code % planeSize >= planeSize - end)
        {
            const std::string text = encode(code);
            ASSERT_EQ(isBusText(text), isTaken(connection.peer(), text))
                << std::hex << code;
        }
    }
}

TEST(BusText, RefusesNul)
{
    EXPECT_FALSE(isBusText("a\0b"s));
    EXPECT_FALSE(isBusText("\0"s));
}

TEST(BusText, RefusesMalformedSequences)
{
    EXPECT_FALSE(isBusText("\x80")) << "a continuation on its own";
    EXPECT_FALSE(isBusText("\xC3")) << "cut short";
    EXPECT_FALSE(isBusText("\xE2\x82")) << "cut short";
    EXPECT_FALSE(isBusText("\xF0\x9F\x98")) << "cut short";
    EXPECT_FALSE(isBusText("\xC3(")) << "no continuation byte";
    EXPECT_FALSE(isBusText("\xE2\x82(")) << "no third byte";
    EXPECT_FALSE(isBusText("\xF0\x9F\x98(")) << "no fourth byte";
    EXPECT_FALSE(isBusText("\xE0\xC0\x80")) << "no continuation byte";
    EXPECT_FALSE(isBusText("\xED\x7F\x80")) << "no continuation byte";
    EXPECT_FALSE(isBusText("\xF0\xC0\x80\x80")) << "no continuation byte";
    EXPECT_FALSE(isBusText("\xF4\x7F\x80\x80")) << "no continuation byte";
    EXPECT_FALSE(isBusText("\xFF"));
}

TEST(BusText, RefusesInvalidCodePoints)
{
    EXPECT_FALSE(isBusText("\xC0\xAF")) << "longer than needed";
    EXPECT_FALSE(isBusText("\xE0\x9F\xBF")) << "longer than needed";
    EXPECT_FALSE(isBusText("\xF0\x8F\xBF\xBF")) << "longer than needed";
    EXPECT_FALSE(isBusText("\xED\xA0\x80")) << "a surrogate";
    EXPECT_FALSE(isBusText("\xF4\x90\x80\x80")) << "above U+10FFFF";
    EXPECT_FALSE(isBusText("\xF5\x80\x80\x80")) << "above U+10FFFF";
}

template <typename Error>
std::string refusal(BusTextCheck& check, const std::string& text)
{
    try
    {
        check.require("Message", text);
    }
    catch (const Error& e)
    {
        return e.what();
    }
    return "taken";
}

TEST(BusText, NamesTheTextThatItRefuses)
{
    BusTextCheck check(8);
    EXPECT_NO_THROW(check.require("Message", "fine"));
    EXPECT_EQ(refusal<std::invalid_argument>(check, "\xFF"),
              "Message is not UTF-8 text without NUL");
}

TEST(BusText, AddsUpTheTextsOfOneMessage)
{
    BusTextCheck check(8);
    EXPECT_NO_THROW(check.require("Message", "fine"));
    EXPECT_NO_THROW(check.require("Message", "fine"));
    EXPECT_NO_THROW(check.require("Message", ""));
    EXPECT_EQ(refusal<std::length_error>(check, "x"),
              "the texts have more than 8 bytes");
}

} // namespace
} // namespace health_namespace::details
