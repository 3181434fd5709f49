// SPDX-License-Identifier: Apache-2.0
#include "library_test.hpp"
#include "text.hpp"

#include <com/vexa/olvar/property_table.hpp>

#include <sdbusplus/server/interface.hpp>

#include <stdexcept>

namespace healthintf::binding
{
namespace
{

using namespace healthintf::test;
using Variant = std::variant<uint32_t, std::string>;

struct Object
{
    sdbusplus::bus_t* connection = nullptr;
    uint32_t number = 1;
    std::string word = "one";
    std::function<void()> beforeGet;
    std::function<void()> beforeWrite;
    Lines calls;

    sdbusplus::bus_t& bus()
    {
        return *connection;
    }

    struct Number
    {
        using type = uint32_t;
        static constexpr const char* name = "Number";
        static constexpr auto flags =
            sdbusplus::vtable::property_::emits_change;
        static uint32_t get(const Object& object)
        {
            if (object.beforeGet)
            {
                object.beforeGet();
            }
            return object.number;
        }
        static void set(Object& object, uint32_t value, bool skipSignal)
        {
            object.number = value;
            object.calls.push_back(skipSignal ? "quiet" : "loud");
        }
    };

    struct Word
    {
        using type = std::string;
        static constexpr const char* name = "Word";
        static constexpr auto flags = sdbusplus::vtable::property_::const_;
        static std::string get(const Object& object)
        {
            return object.word;
        }
        static void set(Object& object, std::string value, bool /*quiet*/)
        {
            object.word = std::move(value);
        }
    };

    /** A property that D-Bus clients can write. */
    struct Level : Number
    {
        static constexpr const char* name = "Level";
        static void write(Object& object, uint32_t value)
        {
            if (object.beforeWrite)
            {
                object.beforeWrite();
            }
            object.number = value;
        }
    };
};

using Table =
    PropertyTable<Object, Variant, Object::Number, Object::Word, Object::Level>;

constexpr auto table =
    objectTable<Table>(std::array{sdbusplus::vtable::signal("Told", "u")});

class PropertyTableTest : public LibraryTest
{
  protected:
    PropertyTableTest()
    {
        object.connection = &bus;
    }

    MessagePtr get(const char* name)
    {
        return connection.call("/a", "org.freedesktop.DBus.Properties", "Get",
                               "ss", "com.example", name);
    }

    template <typename... Value>
    MessagePtr set(const char* name, const char* type, Value... value)
    {
        return connection.call("/a", "org.freedesktop.DBus.Properties", "Set",
                               "ssv", "com.example", name, type, value...);
    }

    Object object;
    sdbusplus::server::interface_t registered{bus, "/a", "com.example",
                                              table.data(), &object};
};

TEST_F(PropertyTableTest, PutsSignalsBeforePropertiesInTheirOrder)
{
    ASSERT_EQ(table.size(), 6u);
    EXPECT_EQ(table[0].type, _SD_BUS_VTABLE_START);
    EXPECT_STREQ(table[1].x.signal.member, "Told");
    EXPECT_STREQ(table[2].x.property.member, "Number");
    EXPECT_STREQ(table[2].x.property.signature, "u");
    EXPECT_EQ(table[2].x.property.set, nullptr);
    EXPECT_STREQ(table[3].x.property.member, "Word");
    EXPECT_STREQ(table[3].x.property.signature, "s");
    EXPECT_EQ(table[3].type, _SD_BUS_VTABLE_PROPERTY);
    EXPECT_EQ(table[4].type, _SD_BUS_VTABLE_WRITABLE_PROPERTY);
    EXPECT_EQ(table[5].type, _SD_BUS_VTABLE_END);
}

TEST_F(PropertyTableTest, GetsByName)
{
    EXPECT_EQ(Table::get(object, "Number"), Variant(uint32_t{1}));
    EXPECT_EQ(Table::get(object, "Word"), Variant("one"));
    EXPECT_EQ(Table::get(object, "Other"), Variant(uint32_t{0}));
}

TEST_F(PropertyTableTest, SetsByName)
{
    Table::set(object, "Number", uint32_t{5}, true);
    Table::set(object, "Number", uint32_t{6}, false);
    Table::set(object, "Word", "six", false);
    EXPECT_EQ(object.number, 6u);
    EXPECT_EQ(object.word, "six");
    EXPECT_EQ(object.calls, (Lines{"quiet", "loud"}));
}

TEST_F(PropertyTableTest, IgnoresUnknownNames)
{
    Table::set(object, "Other", "x", false);
    Table::set(object, "number", uint32_t{9}, false);
    EXPECT_EQ(object.number, 1u);
}

TEST_F(PropertyTableTest, RefusesAValueOfAnotherType)
{
    try
    {
        Table::set(object, "Number", "text", false);
        FAIL() << "taken";
    }
    catch (const std::bad_variant_access& e)
    {
        EXPECT_STREQ(e.what(), "std::get: wrong index for variant");
    }
    EXPECT_EQ(object.number, 1u);
}

TEST_F(PropertyTableTest, AnswersReadsOverTheBus)
{
    const MessagePtr reply = get("Number");
    ASSERT_FALSE(sd_bus_message_is_method_error(reply.get(), nullptr));
    EXPECT_STREQ(sd_bus_message_get_signature(reply.get(), 1), "v");
    EXPECT_EQ(arguments(reply.get()), "1");
}

TEST_F(PropertyTableTest, RefusesWritesOverTheBus)
{
    const MessagePtr reply = set("Word", "s", "two");
    EXPECT_TRUE(sd_bus_message_is_method_error(reply.get(), nullptr));
    EXPECT_EQ(object.word, "one");
}

TEST_F(PropertyTableTest, AnswersWithAnErrorWhenAGetterThrows)
{
    object.beforeGet = [] {
        throw std::runtime_error("broken");
    };
    EXPECT_TRUE(sd_bus_message_is_method_error(get("Number").get(), nullptr));
    object.beforeGet = [] {
        throw sdbusplus::exception::SdBusError(EIO, "broken");
    };
    EXPECT_TRUE(sd_bus_message_is_method_error(
        get("Number").get(), "org.freedesktop.DBus.Error.IOError"));
    object.beforeGet = nullptr;
    EXPECT_FALSE(sd_bus_message_is_method_error(get("Number").get(), nullptr));
}

TEST_F(PropertyTableTest, WritesOverTheBusThroughThePropertysSetter)
{
    EXPECT_FALSE(
        sd_bus_message_is_method_error(set("Level", "u", 7u).get(), nullptr));
    EXPECT_EQ(object.number, 7u);
}

TEST_F(PropertyTableTest, RefusesAWriteOfAnotherType)
{
    EXPECT_TRUE(sd_bus_message_is_method_error(
        set("Level", "s", "seven").get(),
        "org.freedesktop.DBus.Error.InvalidArgs"));
    EXPECT_TRUE(
        sd_bus_message_is_method_error(set("Level", "i", 7).get(), nullptr));
    EXPECT_EQ(object.number, 1u);
}

TEST_F(PropertyTableTest, AnswersWithAnErrorWhenAWriteThrows)
{
    object.beforeWrite = [] {
        throw 7;
    };
    EXPECT_TRUE(
        sd_bus_message_is_method_error(set("Level", "u", 7u).get(), nullptr));
    object.beforeWrite = [] {
        throw sdbusplus::exception::SdBusError(EIO, "broken");
    };
    EXPECT_TRUE(sd_bus_message_is_method_error(
        set("Level", "u", 7u).get(), "org.freedesktop.DBus.Error.IOError"));
    EXPECT_EQ(object.number, 1u);
}

} // namespace
} // namespace healthintf::binding
