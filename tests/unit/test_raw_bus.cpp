#include "library_test.hpp"
#include "raw_bus.hpp"

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

} // namespace
} // namespace health_namespace::details
