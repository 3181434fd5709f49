#include "library_test.hpp"
#include "raw_bus.hpp"

#include <type_traits>
#include <utility>

namespace health_namespace::details
{
namespace
{

using namespace healthintf::test;

TEST(RawBus, IsTheConnectionInsideTheWrapper)
{
    DirectConnection connection;
    EXPECT_EQ(rawBus(connection.bus), connection.raw());
    sdbusplus::bus_t moved = std::move(connection.bus);
    EXPECT_EQ(rawBus(moved), connection.raw());
}

TEST(RawBus, EndsWithItsWrapper)
{
    sd_bus* lone = nullptr;
    ASSERT_GE(sd_bus_new(&lone), 0);
    // A slot that only the connection holds ends together with it.
    bool ended = false;
    sd_bus_slot* slot = nullptr;
    const auto ignore = [](sd_bus_message*, void*, sd_bus_error*) {
        return 0;
    };
    ASSERT_GE(sd_bus_add_filter(lone, &slot, ignore, &ended), 0);
    sd_bus_slot_set_destroy_callback(slot, [](void* context) {
        *static_cast<bool*>(context) = true;
    });
    sd_bus_slot_set_floating(slot, 1);
    sd_bus_slot_unref(slot);
    {
        sdbusplus::bus_t wrapper(lone, std::false_type{});
        EXPECT_EQ(rawBus(wrapper), lone);
        EXPECT_FALSE(ended);
    }
    EXPECT_TRUE(ended);
}

} // namespace
} // namespace health_namespace::details
