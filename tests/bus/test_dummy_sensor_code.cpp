// SPDX-License-Identifier: Apache-2.0
/** @file A daemon's dummy sensor as clients see it. */

#include "bus_client.hpp"
#include "child.hpp"
#include "own_bus.hpp"
#include "private_bus.hpp"
#include "text.hpp"

#include <com/vexa/olvar/event_mgr/DummySensorCode/server.hpp>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sdbusplus/exception.hpp>

#include <cerrno>
#include <stdexcept>
#include <string>
#include <vector>

namespace healthintf::test
{
namespace
{

using sdbusplus::server::com::vexa::olvar::event_mgr::DummySensorCode;

const char* const path = "/com/example/sensor";
const char* const interface = "com.vexa.olvar.event_mgr.DummySensorCode";
const char* const properties = "org.freedesktop.DBus.Properties";

class Sensor : public DummySensorCode
{
  public:
    using DummySensorCode::DummySensorCode;

    int32_t triggerFault(uint32_t value) override
    {
        switch (value)
        {
            case 0:
                throw sdbusplus::exception::SdBusError(EBUSY, "sd_bus_call");
            case 1:
                throw std::runtime_error("\xff");
            default:
                return static_cast<int32_t>(value) * 2;
        }
    }
    int32_t removeFault() override
    {
        return -1;
    }
    int32_t clearAllFault() override
    {
        return 0;
    }
};

/** Runs a daemon with a sensor, which reports its bus name to its parent. */
int runSensor(const Child::Parent& parent)
{
    sdbusplus::bus_t bus = openBus();
    const Sensor sensor(bus, path);
    parent.tell(bus.get_unique_name());
    for (;;)
    {
        if (!bus.process_discard())
        {
            bus.wait();
        }
    }
}

class DummySensor : public testing::Test
{
  protected:
    DummySensor() : daemon(runSensor), owner(daemon.hear())
    {
        const std::string rule = "type='signal',sender='" + owner + "'";
        const auto note = [](sd_bus_message* message, void* context,
                             sd_bus_error*) {
            static_cast<DummySensor*>(context)->signals.push_back(
                std::string(sd_bus_message_get_member(message)) + " " +
                arguments(message));
            return 0;
        };
        EXPECT_GE(
            sd_bus_add_match(client.get(), nullptr, rule.c_str(), note, this),
            0);
    }

    template <typename... Args>
    std::string call(const char* of, const char* member, const char* types,
                     Args... args)
    {
        try
        {
            return arguments(
                client.call(owner.c_str(), path, of, member, types, args...)
                    .get());
        }
        catch (const std::runtime_error& e)
        {
            return e.what();
        }
    }

    template <typename Value>
    std::string write(const char* type, Value value)
    {
        return call(properties, "Set", "ssv", interface, "HealthStatus", type,
                    value);
    }

    std::string read()
    {
        return call(properties, "Get", "ss", interface, "HealthStatus");
    }

    PrivateBus bus;
    BusClient client;
    Child daemon;
    std::string owner;
    std::vector<std::string> signals;
};

TEST_F(DummySensor, IsCalled)
{
    EXPECT_EQ(call(interface, "TriggerFault", "u", 21U), "42");
    EXPECT_EQ(call(interface, "RemoveFault", ""), "-1");
    EXPECT_EQ(call(interface, "ClearAllFault", ""), "0");
}

TEST_F(DummySensor, AnswersWithErrorsAndKeepsRunning)
{
    EXPECT_EQ(call(interface, "TriggerFault", "u", 0U),
              "System.Error.EBUSY: Device or resource busy");
    EXPECT_EQ(call(interface, "TriggerFault", "u", 1U),
              "org.freedesktop.DBus.Error.Failed: exception with a text that "
              "is not ASCII");
    EXPECT_THAT(call(interface, "TriggerFault", "s", "x"),
                testing::StartsWith("org.freedesktop.DBus.Error.InvalidArgs"));
    EXPECT_THAT(write("s", "x"),
                testing::StartsWith("org.freedesktop.DBus.Error.InvalidArgs"));
    EXPECT_EQ(call(interface, "TriggerFault", "u", 2U), "4");
    EXPECT_EQ(read(), "0");
}

TEST_F(DummySensor, AnnouncesAWrittenValueOnlyWhenItChanges)
{
    EXPECT_EQ(write("u", 3U), "");
    EXPECT_EQ(read(), "3");
    EXPECT_EQ(write("u", 3U), "");
    EXPECT_EQ(write("u", 4U), "");
    client.catchUp();
    EXPECT_EQ(signals, (std::vector<std::string>{
                           "PropertiesChanged "
                           "'com.vexa.olvar.event_mgr.DummySensorCode' "
                           "['HealthStatus'=3] []",
                           "PropertiesChanged "
                           "'com.vexa.olvar.event_mgr.DummySensorCode' "
                           "['HealthStatus'=4] []"}));
}

} // namespace
} // namespace healthintf::test
