// SPDX-License-Identifier: Apache-2.0
#include "library_test.hpp"
#include "slots.hpp"
#include "text.hpp"

#include <com/vexa/olvar/healthmgr/HealthStatus/server.hpp>

#include <gmock/gmock.h>

#include <stdexcept>
#include <type_traits>

namespace sdbusplus::server::com::vexa::olvar::healthmgr
{
namespace
{

using namespace healthintf::test;
using testing::HasSubstr;

constexpr const char* path = "/com/vexa/olvar/health/a";

class HealthStatusServer : public LibraryTest
{
  protected:
    HealthStatus make(uint32_t health)
    {
        return HealthStatus(bus, path, {{"HealthStatus", health}});
    }

    std::string introspection()
    {
        const MessagePtr reply = connection.call(
            path, "org.freedesktop.DBus.Introspectable", "Introspect", "");
        return arguments(reply.get());
    }
};

TEST_F(HealthStatusServer, RegistersThenCreatesTheRecordThenAppliesProperties)
{
    const HealthStatus object = make(3);
    EXPECT_EQ(object.healthStatus(), 3u);
    EXPECT_EQ(
        journal().take(),
        (Lines{"healthstatus_cluster",
               "sd_bus_add_object_vtable /com/vexa/olvar/health/a "
               "com.vexa.olvar.healthmgr.HealthStatus",
               "datacache_healthstatus_create /com/vexa/olvar/health/a "
               "{HealthStatus=3}",
               "healthstatus_cluster.PropertyChanged "
               "/com/vexa/olvar/health/a HealthStatus=3",
               "PropertiesChanged /com/vexa/olvar/health/a HealthStatus"}));
}

TEST_F(HealthStatusServer, LogsRemovesAndUnregistersInThisOrder)
{
    auto object = std::make_unique<HealthStatus>(
        bus, path, HealthStatus::PropertyMap{{"HealthStatus", 1u}});
    journal().take();
    object.reset();
    EXPECT_EQ(journal().take(),
              (Lines{"log 9 128 server.67.~HealthStatus: destructor called, "
                     "DAL true",
                     "datacache_healthstatus_remove /com/vexa/olvar/health/a",
                     "~healthstatus_cluster"}));
    EXPECT_THAT(introspection(), testing::Not(HasSubstr("HealthStatus")));
}

TEST_F(HealthStatusServer, HasNoRecordWithTheMarker)
{
    {
        HealthStatus object(bus, path,
                            {{"HealthStatus", 2u}, {"meta-NonCached", 0u}});
        EXPECT_EQ(object.healthStatus(4), 4u);
    }
    EXPECT_EQ(journal().count("datacache_"), 0u);
    EXPECT_EQ(journal().count("log 9 128 server.67.~HealthStatus: destructor "
                              "called, DAL true"),
              1u);
}

TEST_F(HealthStatusServer, WritesTheCacheButAnnouncesNothingForTheValueHeld)
{
    HealthStatus object = make(3);
    journal().take();
    EXPECT_EQ(object.healthStatus(3), 3u);
    EXPECT_EQ(journal().take(),
              Lines{"datacache_healthstatus_set_property "
                    "/com/vexa/olvar/health/a HealthStatus=3"});
}

TEST_F(HealthStatusServer, KeepsTheOldValueWhenTheCacheRefusesTheNew)
{
    HealthStatus object = make(3);
    journal().take();
    journal().answer("datacache_healthstatus_set_property", 7);
    EXPECT_EQ(object.healthStatus(4), 3u);
    EXPECT_EQ(object.healthStatus(), 3u);
    EXPECT_EQ(journal().take(),
              Lines{"datacache_healthstatus_set_property "
                    "/com/vexa/olvar/health/a HealthStatus=4"});
}

TEST_F(HealthStatusServer, AnnouncesAChangeUnlessToldNotTo)
{
    HealthStatus object = make(3);
    journal().take();
    object.healthStatus(4);
    EXPECT_EQ(journal().count("PropertiesChanged"), 1u);
    journal().take();
    object.healthStatus(2, true);
    EXPECT_EQ(journal().count("PropertiesChanged"), 0u);
    EXPECT_EQ(journal().count("healthstatus_cluster.PropertyChanged"), 1u);
}

TEST_F(HealthStatusServer, SetsAndGetsByName)
{
    HealthStatus object = make(3);
    journal().take();
    object.setPropertyByName("HealthStatus", 4u);
    EXPECT_EQ(journal().count("PropertiesChanged"), 1u);
    EXPECT_EQ(object.getPropertyByName("HealthStatus"),
              HealthStatus::PropertiesVariant(4u));
}

TEST_F(HealthStatusServer, IgnoresOtherNames)
{
    HealthStatus object = make(3);
    journal().take();
    object.setPropertyByName("Health", 4u);
    EXPECT_EQ(object.healthStatus(), 3u);
    EXPECT_EQ(journal().take(), Lines{});
    EXPECT_EQ(object.getPropertyByName("Health"),
              HealthStatus::PropertiesVariant(0u));
}

TEST_F(HealthStatusServer, BroadcastsAnUpdateFromItsPath)
{
    HealthStatus object = make(3);
    journal().take();
    object.healthStatusUpdate("/parent", "/parent/child", 4);
    EXPECT_EQ(journal().take(),
              Lines{"signal /com/vexa/olvar/health/a "
                    "com.vexa.olvar.healthmgr.HealthStatus "
                    "HealthStatusUpdate ssu: '/parent' '/parent/child' 4"});
}

TEST_F(HealthStatusServer, NamesTheCallThatFailedToSend)
{
    HealthStatus object = make(3);
    const auto text = [&object] {
        try
        {
            object.healthStatusUpdate("/a", "/a/b", 1);
        }
        catch (const exception::SdBusError& e)
        {
            return std::string(e.what());
        }
        return std::string("sent");
    };
    journal().answer("sd_bus_message_new_signal", -ENOMEM);
    EXPECT_THAT(text(), testing::StartsWith("sd_bus_message_new_signal"));
    journal().answer("sd_bus_send HealthStatusUpdate", -ENOTCONN);
    EXPECT_THAT(text(), testing::StartsWith("sd_bus_send"));
}

TEST_F(HealthStatusServer, RefusesANullPath)
{
    try
    {
        HealthStatus object(bus, nullptr, {});
        FAIL() << "taken";
    }
    catch (const std::logic_error& e)
    {
        EXPECT_STREQ(e.what(),
                     "basic_string: construction from null is not valid");
    }
}

TEST_F(HealthStatusServer, LeavesNothingWhenItCannotBeRegistered)
{
    journal().answer("sd_bus_add_object_vtable", -EEXIST);
    EXPECT_THROW(make(3), exception::SdBusError);
    EXPECT_EQ(journal().count("datacache_"), 0u);
    EXPECT_EQ(journal().lines().back(), "~healthstatus_cluster");
}

TEST_F(HealthStatusServer, LeavesNothingWhenTheCacheThrows)
{
    journal().fail("datacache_healthstatus_create", [] {
        throw std::runtime_error("broken");
    });
    EXPECT_THROW(make(3), std::runtime_error);
    EXPECT_THAT(introspection(), testing::Not(HasSubstr("HealthStatus")));
    EXPECT_NO_THROW(make(3)) << "the path is free again";
}

TEST_F(HealthStatusServer, LeavesNothingWhenTheClusterThrows)
{
    journal().fail("healthstatus_cluster.PropertyChanged", [] {
        throw std::runtime_error("broken");
    });
    EXPECT_THROW(make(3), std::runtime_error);
    EXPECT_TRUE(platform().healthRecords.empty());
}

TEST_F(HealthStatusServer, ShowsItsMembersInTheOrderOfItsTable)
{
    const HealthStatus object = make(3);
    const std::string xml = introspection();
    const auto at =
        xml.find("<interface name=\"com.vexa.olvar.healthmgr.HealthStatus\">");
    ASSERT_NE(at, std::string::npos);
    EXPECT_THAT(
        xml.substr(at),
        testing::StartsWith(
            "<interface name=\"com.vexa.olvar.healthmgr.HealthStatus\">\n"
            "  <signal name=\"HealthStatusUpdate\">\n"
            "   <arg type=\"s\"/>\n"
            "   <arg type=\"s\"/>\n"
            "   <arg type=\"u\"/>\n"
            "  </signal>\n"
            "  <property name=\"HealthStatus\" type=\"u\" access=\"read\">\n"
            "  </property>\n"
            " </interface>"));
}

TEST_F(HealthStatusServer, KeepsItsVirtualFunctionsInTheirSlots)
{
    EXPECT_EQ((getSlots<HealthStatus, uint32_t>(&HealthStatus::healthStatus,
                                                &HealthStatus::healthStatus,
                                                &HealthStatus::healthStatus)),
              (PropertySlots{2, 3, 4}));
}

TEST_F(HealthStatusServer, DerivesFromItsConstantsAndItsCluster)
{
    EXPECT_TRUE(
        (std::is_base_of_v<common::com::vexa::olvar::healthmgr::HealthStatus,
                           HealthStatus>));
    EXPECT_TRUE((std::is_base_of_v<healthstatus_cluster, HealthStatus>));
    EXPECT_FALSE(std::is_polymorphic_v<healthstatus_cluster>);
    EXPECT_STREQ(HealthStatus::interface,
                 "com.vexa.olvar.healthmgr.HealthStatus");
}

/** Counts calls through the virtual table. */
class Counting : public HealthStatus
{
  public:
    using HealthStatus::HealthStatus;
    using HealthStatus::healthStatus;

    uint32_t healthStatus(uint32_t value, bool skipSignal) override
    {
        ++calls;
        return HealthStatus::healthStatus(value, skipSignal);
    }

    int calls = 0;
};

TEST_F(HealthStatusServer, CallsItsSettersThroughTheVirtualTable)
{
    Counting object(bus, path, {});
    HealthStatus& base = object;
    base.healthStatus(1);
    base.setPropertyByName("HealthStatus", 2u);
    EXPECT_EQ(object.calls, 2);
}

} // namespace
} // namespace sdbusplus::server::com::vexa::olvar::healthmgr
