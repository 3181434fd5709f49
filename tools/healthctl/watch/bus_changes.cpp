// SPDX-License-Identifier: Apache-2.0
#include "bus_changes.hpp"

#include "../source/managed_objects.hpp"
#include "data_cache/segment_format.hpp"

#include <com/vexa/olvar/healthmgr/FaultEntry/common.hpp>
#include <com/vexa/olvar/healthmgr/HealthStatus/common.hpp>
#include <com/vexa/olvar/healthmgr/names.hpp>

#include <stdexcept>
#include <string_view>
#include <utility>

#include <bus_calls.hpp>

namespace healthintf::healthctl
{
namespace
{

using host::checkBus;

namespace interfaces = sdbusplus::common::com::vexa::olvar::healthmgr;

std::string signalRule(const char* interface, const char* member)
{
    return std::string("type='signal',interface='") + interface + "',member='" +
           member + "',path_namespace='" + names::root + "'";
}

/** The rule for announced properties of an interface. */
std::string propertiesRule(const char* interface)
{
    return signalRule("org.freedesktop.DBus.Properties", "PropertiesChanged") +
           ",arg0='" + interface + "'";
}

/** Where a signal comes from.
 *
 *  @throws std::runtime_error when that is too long for a record: a tree of
 * such keys may have a million levels */
std::string readPath(sd_bus_message* message)
{
    std::string path = sd_bus_message_get_path(message);
    if (path.size() > host::maxRecordPath)
    {
        throw std::runtime_error("the path is too long");
    }
    return path;
}

/** @throws std::runtime_error for other arguments: any process may send any
 *          signal, and match() ignores those that cannot be read */
FaultEntryProperties readFault(sd_bus_message* message)
{
    FaultEntryProperties fault;
    const char* fqdd = "";
    const char* id = "";
    const char* text = "";
    const char* sensor = "";
    checkBus("fault", sd_bus_message_read(message, "sss", &fqdd, &id, &text));
    fault.args = readTexts(message);
    checkBus("fault", sd_bus_message_read(
                          message, "tusuu", &fault.timestamp, &fault.severity,
                          &sensor, &fault.sensorNumber, &fault.sensorType));
    fault.fqdd = fqdd;
    fault.messageID = id;
    fault.message = text;
    fault.sensorPath = sensor;
    return fault;
}

} // namespace

template <BusChanges::Handler handler>
void BusChanges::match(const std::string& rule)
{
    sd_bus_slot* slot = nullptr;
    checkBus("unable to listen to the bus",
             sd_bus_add_match(
                 bus, &slot, rule.c_str(),
                 [](sd_bus_message* message, void* changes, sd_bus_error*) {
                     try
                     {
                         (static_cast<BusChanges*>(changes)->*handler)(message);
                     }
                     catch (const std::runtime_error&)
                     {
                         // A malformed signal, which anybody may send.
                     }
                     return 0;
                 },
                 this));
    slots.emplace_back(slot);
}

BusChanges::BusChanges(sd_bus* bus, ChangeHandlers handlers) :
    bus(bus), handlers(std::move(handlers))
{
    match<&BusChanges::takeUpdate>(
        signalRule(interfaces::HealthStatus::interface, "HealthStatusUpdate"));
    match<&BusChanges::takeProperties>(
        propertiesRule(interfaces::HealthStatus::interface));
    match<&BusChanges::takeProperties>(
        propertiesRule(interfaces::FaultEntry::interface));
    match<&BusChanges::takeAdded>(
        signalRule(interfaces::FaultEntry::interface, "FaultEntryAdded"));
    match<&BusChanges::takeRemoved>(
        signalRule(interfaces::FaultEntry::interface, "FaultEntryRemoved"));
    match<&BusChanges::takeOwner>(
        "type='signal',sender='org.freedesktop.DBus',"
        "interface='org.freedesktop.DBus',member='NameOwnerChanged',arg2=''");
}

void BusChanges::takeUpdate(sd_bus_message* message) const
{
    const char* parent = "";
    const char* key = "";
    uint32_t health = 0;
    checkBus("update",
             sd_bus_message_read(message, "ssu", &parent, &key, &health));
    if (health == 0)
    {
        // Of a node that ends, or that has nothing to report.
        handlers.unsure();
    }
    else
    {
        handlers.health(key, health);
    }
}

void BusChanges::takeProperties(sd_bus_message* message) const
{
    const std::string path = readPath(message);
    checkBus("interface", sd_bus_message_skip(message, "s"));
    checkBus("properties",
             sd_bus_message_enter_container(message, 'a', "{sv}"));
    while (sd_bus_message_enter_container(message, 'e', "sv") > 0)
    {
        const char* name = "";
        checkBus("property", sd_bus_message_read(message, "s", &name));
        if (std::string_view(name) == "HealthStatus")
        {
            uint32_t health = 0;
            checkBus("health", sd_bus_message_read(message, "v", "u", &health));
            handlers.health(path, health);
        }
        else if (std::string_view(name) == "Hidden")
        {
            int hidden = 0;
            checkBus("hidden", sd_bus_message_read(message, "v", "b", &hidden));
            handlers.hidden(path, hidden != 0);
        }
        else
        {
            checkBus("property", sd_bus_message_skip(message, "v"));
        }
        checkBus("property", sd_bus_message_exit_container(message));
    }
}

void BusChanges::takeAdded(sd_bus_message* message) const
{
    const char* sender = sd_bus_message_get_sender(message);
    handlers.faultAdded(readPath(message),
                        {readFault(message), sender != nullptr ? sender : ""});
}

void BusChanges::takeRemoved(sd_bus_message* message) const
{
    handlers.faultRemoved(readPath(message));
}

void BusChanges::takeOwner(sd_bus_message* message) const
{
    const char* name = "";
    checkBus("owner", sd_bus_message_read(message, "s", &name));
    if (name[0] == ':')
    {
        handlers.unsure();
    }
}

} // namespace healthintf::healthctl
