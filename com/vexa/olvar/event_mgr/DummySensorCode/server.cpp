// SPDX-License-Identifier: Apache-2.0
#include <com/vexa/olvar/event_mgr/DummySensorCode/server.hpp>
#include <com/vexa/olvar/method_callback.hpp>
#include <com/vexa/olvar/object_path.hpp>
#include <com/vexa/olvar/open_bus.hpp>
#include <com/vexa/olvar/property_table.hpp>

namespace sdbusplus::server::com::vexa::olvar::event_mgr
{
namespace
{

using healthintf::binding::methodCallback;

struct HealthStatusProperty
{
    using type = uint32_t;
    static constexpr const char* name = "HealthStatus";
    static constexpr auto flags = vtable::property_::emits_change;

    static uint32_t get(const DummySensorCode& object)
    {
        return object.healthStatus();
    }
    static void set(DummySensorCode& object, uint32_t value, bool skipSignal)
    {
        object.healthStatus(value, skipSignal);
    }
    static void write(DummySensorCode& object, uint32_t value)
    {
        object.healthStatus(value);
    }
};

using DummySensorCodeProperties = healthintf::binding::PropertyTable<
    DummySensorCode, DummySensorCode::PropertiesVariant, HealthStatusProperty>;

constexpr auto dummySensorCodeTable =
    healthintf::binding::objectTable<DummySensorCodeProperties>(std::array{
        vtable::method("TriggerFault", "u", "i",
                       methodCallback<&DummySensorCode::triggerFault>,
                       vtable::common_::unprivileged),
        vtable::method("RemoveFault", "", "i",
                       methodCallback<&DummySensorCode::removeFault>,
                       vtable::common_::unprivileged),
        vtable::method("ClearAllFault", "", "i",
                       methodCallback<&DummySensorCode::clearAllFault>,
                       vtable::common_::unprivileged)});

} // namespace

DummySensorCode::DummySensorCode(sdbusplus::bus_t& bus, const char* path) :
    registration(healthintf::binding::requireOpen(bus),
                 healthintf::binding::requireShort(path), interface,
                 dummySensorCodeTable.data(), this)
{}

uint32_t DummySensorCode::healthStatus() const
{
    return _healthStatus;
}

uint32_t DummySensorCode::healthStatus(uint32_t value, bool skipSignal)
{
    if (_healthStatus != value)
    {
        _healthStatus = value;
        if (!skipSignal)
        {
            registration.property_changed(HealthStatusProperty::name);
        }
    }
    return _healthStatus;
}

uint32_t DummySensorCode::healthStatus(uint32_t value)
{
    return healthStatus(value, false);
}

void DummySensorCode::setPropertyByName(const std::string& name,
                                        const PropertiesVariant& value,
                                        bool skipSignal)
{
    DummySensorCodeProperties::set(*this, name, value, skipSignal);
}

DummySensorCode::PropertiesVariant
DummySensorCode::getPropertyByName(const std::string& name) const
{
    return DummySensorCodeProperties::get(*this, name);
}

sdbusplus::bus_t& DummySensorCode::bus()
{
    return registration.bus();
}

} // namespace sdbusplus::server::com::vexa::olvar::event_mgr
