// SPDX-License-Identifier: Apache-2.0
#include "record_holders.hpp"

#include <com/vexa/olvar/binding_log.hpp>
#include <com/vexa/olvar/healthmgr/HealthStatus/server.hpp>
#include <com/vexa/olvar/property_table.hpp>

namespace sdbusplus::server::com::vexa::olvar::healthmgr
{

using healthintf::binding::RecordHolders;

namespace
{

using HealthStatusProperties =
    healthintf::binding::PropertyTable<HealthStatus,
                                       HealthStatus::PropertiesVariant,
                                       HealthStatus::healthStatusProperty>;

constexpr auto healthStatusTable =
    healthintf::binding::objectTable<HealthStatusProperties>(std::array{
        vtable::signal(HealthStatus::HealthStatusUpdate::name,
                       HealthStatus::HealthStatusUpdate::signature)});

} // namespace

HealthStatus::HealthStatus(sdbusplus::bus_t& bus, const char* path,
                           const PropertyMap& properties) :
    healthstatus_cluster(bus),
    mirror(bus, path, interface, healthStatusTable.data(), this)
{
    mirror.publish(properties, [this](const std::string& name,
                                      const PropertiesVariant& value) {
        setPropertyByName(name, value, false);
    });
}

HealthStatus::~HealthStatus()
{
    healthintf::binding::logDestruction("~HealthStatus");
    mirror.withdraw();
}

void HealthStatus::setPropertyByName(const std::string& name,
                                     const PropertiesVariant& value,
                                     bool skipSignal)
{
    HealthStatusProperties::set(*this, name, value, skipSignal);
}

HealthStatus::PropertiesVariant
HealthStatus::getPropertyByName(const std::string& name) const
{
    return HealthStatusProperties::get(*this, name);
}

int HealthStatus::Cache::create(const void* holder, const std::string& path,
                                const PropertyMap& properties)
{
    return RecordHolders::ofThisProcess().create(holder, path, properties);
}

int HealthStatus::Cache::setProperty(const void* holder,
                                     const std::string& path,
                                     const std::string& name,
                                     const Variant& value)
{
    return RecordHolders::ofThisProcess().setProperty(holder, path, name,
                                                      value);
}

int HealthStatus::Cache::remove(const void* holder, const std::string& path)
{
    return RecordHolders::ofThisProcess().remove(holder, path);
}

uint32_t HealthStatus::healthWithoutThis()
{
    return RecordHolders::ofThisProcess().healthWithout(&mirror, mirror.path());
}

void HealthStatus::healthStatusUpdate(const std::string& parentKey,
                                      const std::string& key, uint32_t health)
{
    mirror.signal(HealthStatusUpdate::name, parentKey, key, health);
}

sdbusplus::bus_t& HealthStatus::bus()
{
    return mirror.interface.bus();
}

} // namespace sdbusplus::server::com::vexa::olvar::healthmgr
