// SPDX-License-Identifier: Apache-2.0
#include "peers.hpp"

#include <gtest/gtest.h>
#include <sdbusplus/bus/match.hpp>
#include <sdbusplus/server/interface.hpp>

#include <string>
#include <vector>

namespace sdbusplus
{
namespace
{

int number(sd_bus*, const char*, const char*, const char*,
           sd_bus_message* reply, void* context, sd_bus_error*)
{
    return sd_bus_message_append_basic(reply, 'u', context);
}

constexpr vtable_t table[] = {
    vtable::start(),
    vtable::signal("Told", "u"),
    vtable::property("Number", "u", number, vtable::property_::emits_change),
    vtable::end(),
};

class Interface : public testing::Test
{
  protected:
    Interface() :
        listener(peers.far,
                 bus::match::rules::type::signal() +
                     bus::match::rules::path_namespace("/a"),
                 [this](message_t& m) {
                     heard.emplace_back(m.get_member());
                 }),
        manager(nullptr)
    {
        sd_bus_add_object_manager(
            bus::details::bus_friend::get_busp(peers.near), &manager, "/a");
    }

    ~Interface() override
    {
        sd_bus_slot_unref(manager);
    }

    std::vector<std::string> told()
    {
        peers.settle();
        return std::exchange(heard, {});
    }

    test::Peers peers;
    std::vector<std::string> heard;
    bus::match_t listener;
    sd_bus_slot* manager;
    uint32_t value = 7;
};

TEST_F(Interface, AnnouncesPropertiesAndSignals)
{
    server::interface_t registered(peers.near, "/a/b", "com.example", table,
                                   &value);
    registered.property_changed("Number");
    registered.property_changed("Unknown");
    message_t m = registered.new_signal("Told");
    m.append(value);
    m.signal_send();

    EXPECT_EQ(told(), (std::vector<std::string>{"PropertiesChanged", "Told"}));
    EXPECT_EQ(registered.path(), "/a/b");
}

TEST_F(Interface, AnnouncesItsAdditionAndRemovalOnce)
{
    server::interface_t registered(peers.near, "/a/b", "com.example", table,
                                   &value);
    registered.emit_removed();
    registered.emit_added();
    registered.emit_added();
    EXPECT_EQ(told(), std::vector<std::string>{"InterfacesAdded"});
    registered.emit_removed();
    registered.emit_removed();
    EXPECT_EQ(told(), std::vector<std::string>{"InterfacesRemoved"});
}

TEST_F(Interface, TakesItsAnnouncementBackWhenDestroyed)
{
    {
        server::interface_t registered(peers.near, "/a/b", "com.example", table,
                                       &value);
        registered.emit_added();
    }
    {
        server::interface_t silent(peers.near, "/a/b", "com.example", table,
                                   &value);
    }
    EXPECT_EQ(told(), (std::vector<std::string>{"InterfacesAdded",
                                                "InterfacesRemoved"}));
}

TEST_F(Interface, RefusesAPathThatIsTakenOrInvalid)
{
    server::interface_t registered(peers.near, "/a/b", "com.example", table,
                                   &value);
    EXPECT_THROW(
        server::interface_t(peers.near, "/a/b", "com.example", table, &value),
        exception::SdBusError);
    EXPECT_THROW(
        server::interface_t(peers.near, "a/b", "com.example", table, &value),
        exception::SdBusError);
    EXPECT_THROW(
        server::interface_t(peers.near, nullptr, "com.example", table, &value),
        std::logic_error);
}

} // namespace
} // namespace sdbusplus
