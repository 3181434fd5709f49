// SPDX-License-Identifier: Apache-2.0
#include "library_test.hpp"
#include "raw_bus.hpp"

#include <cerrno>
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

TEST(RequireDone, NamesTheCallThatFailed)
{
    EXPECT_NO_THROW(requireDone(0, "call"));
    EXPECT_NO_THROW(requireDone(1, "call"));
    try
    {
        requireDone(-ENOTCONN, "call");
        FAIL() << "accepted";
    }
    catch (const sdbusplus::exception::SdBusError& e)
    {
        EXPECT_EQ(e.get_errno(), ENOTCONN);
        EXPECT_STREQ(e.what(), "call: System.Error.ENOTCONN: Transport "
                               "endpoint is not connected");
    }
}

} // namespace
} // namespace health_namespace::details
