// SPDX-License-Identifier: Apache-2.0
#include "library_test.hpp"

#include <com/vexa/olvar/open_bus.hpp>

#include <string>

namespace healthintf::binding
{
namespace
{

using namespace healthintf::test;

class OpenBus : public LibraryTest
{
  protected:
    /** The reason why a connection is refused. */
    static std::string refusal(sdbusplus::bus_t& refused)
    {
        try
        {
            requireOpen(refused);
        }
        catch (const sdbusplus::exception::SdBusError& e)
        {
            return e.what();
        }
        return "none";
    }

    const std::string closed = "sd_bus_is_open: System.Error.ENOTCONN: "
                               "Transport endpoint is not connected";
};

TEST_F(OpenBus, ReturnsTheConnectionItself)
{
    EXPECT_EQ(&requireOpen(bus), &bus);
}

TEST_F(OpenBus, RefusesAClosedConnection)
{
    bus.close();
    EXPECT_EQ(refusal(bus), closed);
}

TEST_F(OpenBus, RefusesAMissingConnection)
{
    sdbusplus::bus_t none(nullptr);
    EXPECT_EQ(refusal(none), closed);
}

} // namespace
} // namespace healthintf::binding
