#include "peers.hpp"

#include <gtest/gtest.h>
#include <sdbusplus/bus.hpp>

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <string>
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
    EXPECT_EQ(thrown([&] {
                  none.get_unique_name();
              }),
              "sd_bus_get_unique_name" + invalid);
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
    bus_t second(bus::details::bus_friend::get_busp(peers.near));
    peers.near = bus_t(nullptr);
    EXPECT_TRUE(second.is_open());
    EXPECT_GE(second.get_fd(), 0);
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
