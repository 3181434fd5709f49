// SPDX-License-Identifier: Apache-2.0
#include "peers.hpp"

#include <gtest/gtest.h>
#include <sdbusplus/bus.hpp>

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <typeinfo>
#include <utility>

namespace sdbusplus
{
namespace
{

/** The text of what @p work throws. */
template <typename Work>
std::string thrown(Work&& work)
{
    try
    {
        work();
    }
    catch (const std::exception& e)
    {
        return e.what();
    }
    return "nothing";
}

TEST(Bus, CarriesASignalToTheOtherEnd)
{
    test::Peers peers;
    peers.near.new_signal("/a", "com.example", "Told").signal_send();

    message_t received;
    while (!received)
    {
        peers.near.process_discard();
        received = peers.far.process();
        if (received && !received.is_signal("com.example", "Told"))
        {
            received = message_t();
        }
    }
    EXPECT_STREQ(received.get_path(), "/a");
}

TEST(Bus, WaitsNoLongerThanItIsTold)
{
    test::Peers peers;
    EXPECT_EQ(peers.near.wait(0), 0);
    EXPECT_EQ(peers.near.wait(std::chrono::microseconds(1)), 0);
}

TEST(Bus, NamesTheFailedCall)
{
    bus_t none(nullptr);
    const std::string invalid =
        ": org.freedesktop.DBus.Error.InvalidArgs: Invalid argument";
    EXPECT_EQ(thrown([&] {
                  none.flush();
              }),
              "sd_bus_flush" + invalid);
    EXPECT_EQ(thrown([&] {
                  none.process_discard();
              }),
              "sd_bus_process discard" + invalid);
    EXPECT_EQ(thrown([&] {
                  none.process();
              }),
              "sd_bus_process" + invalid);
    EXPECT_EQ(thrown([&] {
                  none.wait(0);
              }),
              "sd_bus_wait" + invalid);
    EXPECT_EQ(thrown([&] {
                  none.request_name("a.b");
              }),
              "sd_bus_request_name" + invalid);
    EXPECT_THROW(none.new_signal("/a", "a.b", "C"), exception::SdBusError);
    EXPECT_THROW(none.new_method_call("a.b", "/a", "a.b", "C"),
                 exception::SdBusError);
}

TEST(Bus, NamesTheCallWhenThereIsNoDaemon)
{
    setenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent/bus", 1);
    EXPECT_EQ(thrown([] {
                  bus::new_user();
              }).rfind("sd_bus_open_user: ", 0),
              0u);
    EXPECT_THROW(bus::new_default_user(), exception::SdBusError);
}

TEST(Bus, FailsACallWhoseConnectionIsClosed)
{
    test::Peers peers;
    message_t call =
        peers.near.new_method_call("a.b", "/a", "com.example", "Ask");
    peers.near.close();
    EXPECT_FALSE(peers.near.is_open());
    EXPECT_THROW(peers.near.call(call), exception::SdBusError);
}

TEST(Bus, KeepsTheConnectionAliveWhileAnyReferenceStands)
{
    test::Peers peers;
    bus_t second(peers.near.get(), peers.near.getInterface());
    peers.near = bus_t(nullptr);
    EXPECT_TRUE(second.is_open());
    EXPECT_GE(second.get_fd(), 0);
}

TEST(Bus, HasToHaveAName)
{
    bus_t none(nullptr);
    EXPECT_THROW(none.get_unique_name(), std::logic_error);

    // Without a bus, as after it was lost, there is none.
    test::Peers peers;
    sd_bus* const nameless = peers.near.get();
    EXPECT_THROW(bus_t{nameless}, std::logic_error);
    EXPECT_THROW(bus_t(nameless, &sdbus_impl), std::logic_error);
    EXPECT_THROW(bus_t(sd_bus_ref(nameless), std::false_type()),
                 std::logic_error);
}

TEST(Bus, TakesANameFromItsOwnerAndGivesItAway)
{
    struct Seam : test::Named
    {
        int sd_bus_request_name(sd_bus* /*bus*/, const char* /*name*/,
                                uint64_t given) override
        {
            flags = given;
            return 1;
        }
        uint64_t flags = 0;
    };
    test::Peers peers;
    Seam seam;
    bus_t(peers.near.get(), &seam).request_name("a.b");
    EXPECT_EQ(seam.flags,
              SD_BUS_NAME_ALLOW_REPLACEMENT | SD_BUS_NAME_REPLACE_EXISTING);
}

TEST(Bus, IsNoClassOfTheFullLibraryForTheLinker)
{
    EXPECT_STREQ(typeid(bus_t).name(), "N9sdbusplus3bus4lite3busE");
    EXPECT_STREQ(typeid(message_t).name(), "N9sdbusplus7message4lite7messageE");
    EXPECT_STREQ(typeid(exception::SdBusError).name(),
                 "N9sdbusplus9exception4lite10SdBusErrorE");
    EXPECT_STREQ(typeid(SdBusInterface).name(),
                 "N9sdbusplus4lite14SdBusInterfaceE");
}

TEST(Bus, AttachesToAnEventLoop)
{
    test::Peers peers;
    sd_event* event = nullptr;
    ASSERT_GE(sd_event_new(&event), 0);
    peers.near.attach_event(event, SD_EVENT_PRIORITY_NORMAL);
    EXPECT_EQ(peers.near.get_event(), event);
    peers.near.detach_event();
    EXPECT_EQ(peers.near.get_event(), nullptr);
    sd_event_unref(event);
}

} // namespace
} // namespace sdbusplus
