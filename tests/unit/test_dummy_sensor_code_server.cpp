// SPDX-License-Identifier: Apache-2.0
#include "library_test.hpp"
#include "slots.hpp"
#include "text.hpp"

#include <com/vexa/olvar/event_mgr/DummySensorCode/server.hpp>

#include <gmock/gmock.h>

#include <stdexcept>
#include <type_traits>

namespace sdbusplus::server::com::vexa::olvar::event_mgr
{
namespace
{

using namespace healthintf::test;

constexpr const char* path = "/com/example/sensor";
constexpr const char* interface = "com.vexa.olvar.event_mgr.DummySensorCode";
constexpr const char* properties = "org.freedesktop.DBus.Properties";

/** A sensor with a daemon's implementation. */
class Sensor : public DummySensorCode
{
  public:
    using DummySensorCode::DummySensorCode;
    using DummySensorCode::healthStatus;

    int32_t triggerFault(uint32_t value) override
    {
        if (beforeTrigger)
        {
            beforeTrigger();
        }
        calls.push_back("trigger " + std::to_string(value));
        return 11;
    }
    int32_t removeFault() override
    {
        calls.emplace_back("remove");
        return -12;
    }
    int32_t clearAllFault() override
    {
        calls.emplace_back("clear");
        return 13;
    }
    uint32_t healthStatus(uint32_t value) override
    {
        calls.push_back("set " + std::to_string(value));
        return DummySensorCode::healthStatus(value);
    }

    std::function<void()> beforeTrigger;
    Lines calls;
};

class DummySensorCodeServer : public LibraryTest
{
  protected:
    MessagePtr trigger()
    {
        return connection.call(path, interface, "TriggerFault", "u", 5u);
    }

    std::string answerTo(const char* method)
    {
        return arguments(connection.call(path, interface, method, "").get());
    }

    template <typename Value>
    MessagePtr write(const char* type, Value value)
    {
        return connection.call(path, properties, "Set", "ssv", interface,
                               "HealthStatus", type, value);
    }

    std::string read()
    {
        return arguments(
            connection
                .call(path, properties, "Get", "ss", interface, "HealthStatus")
                .get());
    }

    static std::string catchError(const MessagePtr& reply)
    {
        if (reply == nullptr)
        {
            return "no answer";
        }
        const sd_bus_error* error = sd_bus_message_get_error(reply.get());
        return error == nullptr
                   ? "none"
                   : std::string(error->name) + ": " + error->message;
    }

    const Lines announcement{"PropertiesChanged " + std::string(path) +
                             " HealthStatus"};
};

TEST_F(DummySensorCodeServer, HandsCallsToItsImplementation)
{
    Sensor sensor(bus, path);
    EXPECT_EQ(arguments(trigger().get()), "11");
    EXPECT_EQ(answerTo("RemoveFault"), "-12");
    EXPECT_EQ(answerTo("ClearAllFault"), "13");
    EXPECT_EQ(sensor.calls, (Lines{"trigger 5", "remove", "clear"}));
}

TEST_F(DummySensorCodeServer, AnswersWithTheErrorThatItsImplementationThrows)
{
    Sensor sensor(bus, path);
    sensor.beforeTrigger = [] {
        throw exception::SdBusError(EBUSY, "sd_bus_call");
    };
    EXPECT_EQ(catchError(trigger()),
              "System.Error.EBUSY: Device or resource busy");
    sensor.beforeTrigger = nullptr;
    EXPECT_EQ(arguments(trigger().get()), "11") << "and goes on";
}

TEST_F(DummySensorCodeServer, AnswersWithAnErrorToEveryOtherException)
{
    Sensor sensor(bus, path);
    sensor.beforeTrigger = [] {
        throw std::runtime_error("broken");
    };
    EXPECT_EQ(catchError(trigger()),
              "org.freedesktop.DBus.Error.Failed: broken");
    sensor.beforeTrigger = [] {
        throw 7;
    };
    EXPECT_EQ(catchError(trigger()),
              "org.freedesktop.DBus.Error.Failed: unknown exception");
    EXPECT_EQ(sensor.calls, Lines{});
}

TEST_F(DummySensorCodeServer, AnswersWhenAnExceptionsTextCannotBeSent)
{
    Sensor sensor(bus, path);
    sensor.beforeTrigger = [] {
        throw std::runtime_error("\xff");
    };
    EXPECT_EQ(catchError(trigger()),
              "org.freedesktop.DBus.Error.Failed: exception "
              "with a text that is not ASCII");
    sensor.beforeTrigger = nullptr;
    EXPECT_EQ(arguments(trigger().get()), "11") << "and goes on";
}

TEST_F(DummySensorCodeServer, RefusesCallsWithOtherArguments)
{
    Sensor sensor(bus, path);
    EXPECT_TRUE(sd_bus_message_is_method_error(
        connection.call(path, interface, "TriggerFault", "s", "5").get(),
        "org.freedesktop.DBus.Error.InvalidArgs"));
    EXPECT_TRUE(sd_bus_message_is_method_error(
        connection.call(path, interface, "RemoveFault", "u", 5u).get(),
        "org.freedesktop.DBus.Error.InvalidArgs"));
    EXPECT_EQ(sensor.calls, Lines{});
}

TEST_F(DummySensorCodeServer, IsReadAndWrittenOverTheBus)
{
    Sensor sensor(bus, path);
    EXPECT_EQ(read(), "0");
    journal().take();
    EXPECT_EQ(catchError(write("u", 3u)), "none");
    EXPECT_EQ(journal().take(), announcement);
    EXPECT_EQ(read(), "3");
    EXPECT_EQ(sensor.calls, Lines{"set 3"}) << "through the virtual setter";
}

TEST_F(DummySensorCodeServer, AnnouncesNothingWhenTheValueHeldIsWritten)
{
    Sensor sensor(bus, path);
    EXPECT_EQ(catchError(write("u", 3u)), "none");
    journal().take();
    EXPECT_EQ(catchError(write("u", 3u)), "none");
    EXPECT_EQ(sensor.healthStatus(3), 3u);
    EXPECT_EQ(journal().take(), Lines{});
}

TEST_F(DummySensorCodeServer, RefusesToBeWrittenWithAnotherType)
{
    Sensor sensor(bus, path);
    EXPECT_TRUE(sd_bus_message_is_method_error(
        write("s", "3").get(), "org.freedesktop.DBus.Error.InvalidArgs"));
    EXPECT_TRUE(sd_bus_message_is_method_error(write("i", 3).get(), nullptr));
    EXPECT_TRUE(sd_bus_message_is_method_error(
        connection
            .call(path, properties, "Set", "ss", interface, "HealthStatus")
            .get(),
        nullptr));
    EXPECT_EQ(sensor.healthStatus(), 0u);
    EXPECT_EQ(sensor.calls, Lines{});
}

TEST_F(DummySensorCodeServer, AnnouncesAChangeUnlessToldNotTo)
{
    Sensor sensor(bus, path);
    journal().take();
    EXPECT_EQ(sensor.healthStatus(2, true), 2u);
    EXPECT_EQ(journal().take(), Lines{});
    EXPECT_EQ(sensor.healthStatus(4, false), 4u);
    EXPECT_EQ(journal().take(), announcement);
    EXPECT_EQ(sensor.healthStatus(1), 1u);
    EXPECT_EQ(journal().take(), announcement);
}

TEST_F(DummySensorCodeServer, SetsAndGetsByName)
{
    Sensor sensor(bus, path);
    sensor.setPropertyByName("HealthStatus", 4u, true);
    EXPECT_EQ(sensor.getPropertyByName("HealthStatus"),
              DummySensorCode::PropertiesVariant(4u));
    journal().take();
    sensor.setPropertyByName("Health", 2u);
    EXPECT_EQ(sensor.healthStatus(), 4u);
    EXPECT_EQ(sensor.getPropertyByName("Health"),
              DummySensorCode::PropertiesVariant(0u));
    EXPECT_EQ(journal().take(), Lines{});
    sensor.setPropertyByName("HealthStatus", 2u);
    EXPECT_EQ(journal().take(), announcement);
}

TEST_F(DummySensorCodeServer, ShowsItsMembersInTheOrderOfItsTable)
{
    const Sensor sensor(bus, path);
    const MessagePtr reply = connection.call(
        path, "org.freedesktop.DBus.Introspectable", "Introspect", "");
    EXPECT_THAT(
        arguments(reply.get()),
        testing::HasSubstr(
            " <interface name=\"com.vexa.olvar.event_mgr.DummySensorCode\">\n"
            "  <method name=\"TriggerFault\">\n"
            "   <arg type=\"u\" direction=\"in\"/>\n"
            "   <arg type=\"i\" direction=\"out\"/>\n"
            "  </method>\n"
            "  <method name=\"RemoveFault\">\n"
            "   <arg type=\"i\" direction=\"out\"/>\n"
            "  </method>\n"
            "  <method name=\"ClearAllFault\">\n"
            "   <arg type=\"i\" direction=\"out\"/>\n"
            "  </method>\n"
            "  <property name=\"HealthStatus\" type=\"u\" "
            "access=\"readwrite\">\n"
            "   <annotation name=\"org.freedesktop.systemd1.Privileged\" "
            "value=\"true\"/>\n"
            "  </property>\n"
            " </interface>"));
}

TEST_F(DummySensorCodeServer, DisappearsFromTheBusWithoutALogLine)
{
    {
        Sensor sensor(bus, path);
        journal().take();
    }
    EXPECT_EQ(journal().take(), Lines{});
    EXPECT_TRUE(sd_bus_message_is_method_error(trigger().get(), nullptr));
}

TEST_F(DummySensorCodeServer, ThrowsWhenItCannotBeRegistered)
{
    journal().answer("sd_bus_add_object_vtable", -EEXIST);
    EXPECT_THROW(Sensor(bus, path), exception::SdBusError);
    EXPECT_NO_THROW(Sensor(bus, path)) << "the path is free";
}

TEST_F(DummySensorCodeServer, ThrowsForAPathThatIsTooLong)
{
    const std::string longPath = "/" + std::string(1024, 'a');
    EXPECT_THROW(Sensor(bus, longPath.c_str()), exception::SdBusError);
}

TEST_F(DummySensorCodeServer, KeepsItsVirtualFunctionsInTheirSlots)
{
    EXPECT_EQ(findSlot(&DummySensorCode::triggerFault), 2);
    EXPECT_EQ(findSlot(&DummySensorCode::removeFault), 3);
    EXPECT_EQ(findSlot(&DummySensorCode::clearAllFault), 4);
    EXPECT_EQ(
        (getSlots<DummySensorCode, uint32_t>(&DummySensorCode::healthStatus,
                                             &DummySensorCode::healthStatus,
                                             &DummySensorCode::healthStatus)),
        (PropertySlots{5, 6, 7}));
}

TEST_F(DummySensorCodeServer, DerivesFromItsConstantsAlone)
{
    EXPECT_TRUE(
        (std::is_base_of_v<common::com::vexa::olvar::event_mgr::DummySensorCode,
                           DummySensorCode>));
    EXPECT_TRUE(std::is_abstract_v<DummySensorCode>);
    EXPECT_STREQ(DummySensorCode::interface, interface);
}

} // namespace
} // namespace sdbusplus::server::com::vexa::olvar::event_mgr
