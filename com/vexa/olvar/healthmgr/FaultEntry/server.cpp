// SPDX-License-Identifier: Apache-2.0
#include <com/vexa/olvar/binding_log.hpp>
#include <com/vexa/olvar/healthmgr/FaultEntry/server.hpp>
#include <com/vexa/olvar/property_table.hpp>

namespace sdbusplus::server::com::vexa::olvar::healthmgr
{
namespace
{

using FaultEntryProperties = healthintf::binding::PropertyTable<
    FaultEntry, FaultEntry::PropertiesVariant, FaultEntry::fqddProperty,
    FaultEntry::messageIDProperty, FaultEntry::messageProperty,
    FaultEntry::argsProperty, FaultEntry::timestampProperty,
    FaultEntry::severityProperty, FaultEntry::sensorPathProperty,
    FaultEntry::sensorNumberProperty, FaultEntry::sensorTypeProperty,
    FaultEntry::ledStateProperty, FaultEntry::lcdMessageProperty,
    FaultEntry::hiddenProperty>;

constexpr auto faultEntryTable =
    healthintf::binding::objectTable<FaultEntryProperties>(
        std::array{vtable::signal(FaultEntry::FaultEntryAdded::name,
                                  FaultEntry::FaultEntryAdded::signature),
                   vtable::signal(FaultEntry::FaultEntryRemoved::name,
                                  FaultEntry::FaultEntryRemoved::signature),
                   vtable::signal(FaultEntry::HideFaultForSensor::name,
                                  FaultEntry::HideFaultForSensor::signature)});

} // namespace

FaultEntry::FaultEntry(sdbusplus::bus_t& bus, const char* path,
                       const PropertyMap& properties, bool skipSignal) :
    faultentry_cluster(bus),
    mirror(bus, path, interface, faultEntryTable.data(), this)
{
    mirror.publish(properties,
                   [this, skipSignal](const std::string& name,
                                      const PropertiesVariant& value) {
                       setPropertyByName(name, value, skipSignal);
                   });
}

FaultEntry::~FaultEntry()
{
    healthintf::binding::logDestruction("~FaultEntry");
    mirror.withdraw();
}

void FaultEntry::setPropertyByName(const std::string& name,
                                   const PropertiesVariant& value,
                                   bool skipSignal)
{
    FaultEntryProperties::set(*this, name, value, skipSignal);
}

FaultEntry::PropertiesVariant
FaultEntry::getPropertyByName(const std::string& name) const
{
    return FaultEntryProperties::get(*this, name);
}

void FaultEntry::faultEntryAdded(const std::string& fqdd,
                                 const std::string& messageID,
                                 const std::string& message,
                                 const std::vector<std::string>& args,
                                 uint64_t timestamp, uint32_t severity,
                                 const std::string& sensorPath,
                                 uint32_t sensorNumber, uint32_t sensorType)
{
    mirror.signal(FaultEntryAdded::name, fqdd, messageID, message, args,
                  timestamp, severity, sensorPath, sensorNumber, sensorType);
}

void FaultEntry::faultEntryRemoved(const std::string& fqdd,
                                   const std::string& messageID,
                                   const std::string& sensorPath,
                                   uint32_t sensorNumber, uint32_t sensorType)
{
    mirror.signal(FaultEntryRemoved::name, fqdd, messageID, sensorPath,
                  sensorNumber, sensorType);
}

// The parameters are passed by value, because the ABI has this signature.
// NOLINTBEGIN(performance-unnecessary-value-param)
void FaultEntry::hideFaultForSensor(bool hide, std::string healthPath,
                                    std::string sensorPath,
                                    int32_t sensorNumber)
// NOLINTEND(performance-unnecessary-value-param)
{
    mirror.signal(HideFaultForSensor::name, hide, healthPath, sensorPath,
                  sensorNumber);
}

sdbusplus::bus_t& FaultEntry::bus()
{
    return mirror.interface.bus();
}

} // namespace sdbusplus::server::com::vexa::olvar::healthmgr
