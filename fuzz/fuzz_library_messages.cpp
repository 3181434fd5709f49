// SPDX-License-Identifier: Apache-2.0
/** @file Sends any messages to a daemon that uses the library. */

#include "component_harness.hpp"
#include "stranger.hpp"

#include <com/vexa/olvar/event_mgr/DummySensorCode/server.hpp>
#include <lmi_sel_fault.hpp>

namespace
{

using namespace healthintf::test;

/** A sensor with a daemon's implementation. */
class Sensor
    : public sdbusplus::server::com::vexa::olvar::event_mgr::DummySensorCode
{
  public:
    using DummySensorCode::DummySensorCode;

    int32_t triggerFault(uint32_t value) override
    {
        return static_cast<int32_t>(value);
    }
    int32_t removeFault() override
    {
        return 0;
    }
    int32_t clearAllFault() override
    {
        throw std::runtime_error("no");
    }
};

constexpr const char* properties = "org.freedesktop.DBus.Properties";
constexpr const char* sensor = "com.vexa.olvar.event_mgr.DummySensorCode";

const std::vector<KnownMessage>& known()
{
    constexpr auto signal = SD_BUS_MESSAGE_SIGNAL;
    constexpr auto call = SD_BUS_MESSAGE_METHOD_CALL;
    const std::string root = "/com/vexa/olvar/health";
    const std::string& key = ComponentHarness::key;
    static const std::vector<KnownMessage> messages{
        {signal, "/x", "com.vexa.olvar.healthmgr.HealthStatus",
         "HealthStatusUpdate", "ssu"},
        {signal, root, "com.vexa.olvar.healthmgr", "HideFaultForSensor",
         "bssi"},
        {signal, "/com/vexa/olvar/logmgr/SEL", "com.vexa.olvar.logmgr.SEL",
         "ClearedSelEntries", ""},
        {signal, "/com/vexa/olvar/logmgr/SEL/48", "com.vexa.olvar.logmgr.SEL",
         "SignalSELEvent", "ay"},
        {signal, "/com/vexa/olvar/notification", "com.vexa.olvar.Notification",
         "Notified", "say"},
        {call, key, properties, "Get", "ss"},
        {call, key, properties, "Set", "ssv"},
        {call, key, properties, "GetAll", "s"},
        {call, root, "org.freedesktop.DBus.ObjectManager", "GetManagedObjects",
         ""},
        {call, key, "org.freedesktop.DBus.Introspectable", "Introspect", ""},
        {call, "/sensor", sensor, "TriggerFault", "u"},
        {call, "/sensor", sensor, "RemoveFault", ""},
        {call, "/sensor", sensor, "ClearAllFault", ""},
        {call, "/sensor", properties, "Set", "ssv"},
    };
    return messages;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size)
{
    FuzzInput input(data, size);
    ComponentHarness daemon;
    const Sensor other(daemon.bus, "/sensor");
    logmgr_interface::SELAndFault events(daemon.component.get());
    events.RegisterForBIOSPreSELEvent(
        daemon.bus,
        [](const auto& /*record*/) {
            return 0;
        },
        48);
    daemon.addFault();
    Stranger stranger(daemon.bus, [&daemon] {
        daemon.work();
    });
    while (!input.empty())
    {
        stranger.send(known(), input);
    }
    stranger.settle();
    return 0;
}
