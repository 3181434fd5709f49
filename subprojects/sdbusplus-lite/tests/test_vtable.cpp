// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>
#include <sdbusplus/vtable.hpp>

namespace sdbusplus
{
namespace
{

int getter(sd_bus*, const char*, const char*, const char*, sd_bus_message*,
           void*, sd_bus_error*)
{
    return 0;
}

int setter(sd_bus*, const char*, const char*, const char*, sd_bus_message*,
           void*, sd_bus_error*)
{
    return 0;
}

int method(sd_bus_message*, void*, sd_bus_error*)
{
    return 0;
}

constexpr vtable_t table[] = {
    vtable::start(),
    vtable::method("Ask", "u", "i", method, vtable::common_::unprivileged),
    vtable::signal("Told", "ssu"),
    vtable::property("Fixed", "s", getter, vtable::property_::const_),
    vtable::property("Open", "u", getter, setter,
                     vtable::property_::emits_change),
    vtable::end(),
};

TEST(VTable, KeepsTheKindOfEachEntry)
{
    EXPECT_EQ(table[0].type, _SD_BUS_VTABLE_START);
    EXPECT_EQ(table[1].type, _SD_BUS_VTABLE_METHOD);
    EXPECT_EQ(table[2].type, _SD_BUS_VTABLE_SIGNAL);
    EXPECT_EQ(table[3].type, _SD_BUS_VTABLE_PROPERTY);
    EXPECT_EQ(table[4].type, _SD_BUS_VTABLE_WRITABLE_PROPERTY);
    EXPECT_EQ(table[5].type, _SD_BUS_VTABLE_END);
}

TEST(VTable, KeepsNamesSignaturesAndFlags)
{
    EXPECT_STREQ(table[1].x.method.member, "Ask");
    EXPECT_STREQ(table[1].x.method.signature, "u");
    EXPECT_STREQ(table[1].x.method.result, "i");
    EXPECT_EQ(table[1].x.method.handler, method);
    EXPECT_TRUE(table[1].flags & SD_BUS_VTABLE_UNPRIVILEGED);
    EXPECT_STREQ(table[2].x.signal.member, "Told");
    EXPECT_STREQ(table[2].x.signal.signature, "ssu");
    EXPECT_TRUE(table[3].flags & SD_BUS_VTABLE_PROPERTY_CONST);
    EXPECT_EQ(table[3].x.property.get, getter);
    EXPECT_EQ(table[3].x.property.set, nullptr);
    EXPECT_TRUE(table[4].flags & SD_BUS_VTABLE_PROPERTY_EMITS_CHANGE);
    EXPECT_EQ(table[4].x.property.set, setter);
}

} // namespace
} // namespace sdbusplus
