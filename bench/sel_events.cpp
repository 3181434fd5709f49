// SPDX-License-Identifier: Apache-2.0
/** @file Repeatedly reports an event and its end, or does only a part of that,
 *  on this thread's default bus and the host platform.
 *
 *  Usage: sel-events whole|parts|store|describe|fault
 *
 *  "whole" calls the library, "parts" makes the library's calls to the platform
 *  in the same order. The other three each make one kind of these calls. */

#include "turns.hpp"

#include <com/vexa/olvar/logmgr/names.hpp>
#include <hmi_fault_health.hpp>
#include <lmi_sel_fault.hpp>
#include <platform/data_abstraction/sel.hpp>
#include <platform/event_description.h>

#include <sdbusplus/bus.hpp>

#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace
{

namespace names = healthintf::names;
using health_namespace::FaultAndHealth;
using logmgr_interface::SELAndFault;
using Record = std::vector<unsigned char>;

constexpr uint8_t powerSupply = 0x08;
constexpr uint8_t number = 0x63;

const SELInterface::SensorInfo sensor{"psu1", "/com/vexa/olvar/sensors/psu1", 1,
                                      2};

/** The failure of a power supply, and its end. */
const Record failed{0, 0, 2,           0,      0,    0, 0,    0x20,
                    0, 4, powerSupply, number, 0x6f, 1, 0xff, 0xff};
const Record ended{0, 0, 2,           0,      0,    0, 0,    0x20,
                   0, 4, powerSupply, number, 0xef, 1, 0xff, 0xff};

void require(bool worked, const char* what)
{
    if (!worked)
    {
        std::fprintf(stderr, "unable to %s\n", what);
        std::exit(1);
    }
}

void store(const Record& record)
{
    require(DataAbstraction::SEL::AddSEL(
                names::logmgrService, names::selPath,
                {sensor.name, sensor.path, sensor.firstByte, sensor.secondByte},
                record, std::nullopt) <= DataAbstraction::SEL::largestRecordId,
            "store a record");
}

/** The calls to the event-description library for one event: describe the
 *  opposite event, the event itself, and the front panel. */
void describe(const Record& record, const Record& opposite)
{
    std::array<uint8_t, JNL_ENTRY_SIZE> entry{};
    std::array<uint8_t, LCD_ENTRY_SIZE> panel{};
    const int attached = IPMI_SELCSSDSELAttach();
    const bool described =
        TransformSELEventToJNLEntry(opposite.data(), entry.data()) == 0 &&
        TransformSELEventToJNLEntry(record.data(), entry.data()) == 0 &&
        TransformSELEventToLCD(record.data(), panel.data()) == 0;
    require(attached == 0 && described && IPMI_SELCSSDSELDetach() == 0,
            "describe an event");
}

const std::string messageId = "PSU0032";

void addFault(FaultAndHealth& component)
{
    require(component.addFault(
                messageId, sensor.path, {"Power Supply sensor 0x63"},
                "PowerSupply.Sensor.0x63", "PowerSupply.Sensor.0x63", number,
                powerSupply, "The power supply of sensor 0x63 has failed.", 1,
                "PSU 0x63 failed", 2) == 0,
            "add a fault");
}

void removeFault(FaultAndHealth& component)
{
    std::string id = messageId;
    std::string path = sensor.path;
    require(component.removeFault(id, path) == 0, "remove a fault");
}

void report(SELAndFault& events, Record record)
{
    auto info = sensor;
    require(events.addSELAndFault(info, record) == 0, "report an event");
}

/** The functions that a round can run, by name. */
std::map<std::string, std::function<void()>>
kindsOfWork(FaultAndHealth& component, SELAndFault& events)
{
    return {{"whole",
             [&events] {
                 report(events, failed);
                 report(events, ended);
             }},
            {"parts",
             [&component] {
                 store(failed);
                 describe(failed, ended);
                 addFault(component);
                 store(ended);
                 describe(ended, failed);
                 removeFault(component);
             }},
            {"store",
             [] {
                 store(failed);
                 store(ended);
             }},
            {"describe",
             [] {
                 describe(failed, ended);
                 describe(ended, failed);
             }},
            {"fault", [&component] {
                 addFault(component);
                 removeFault(component);
             }}};
}

} // namespace

int main(int argc, char** argv)
{
    auto bus = sdbusplus::bus::new_default();
    const std::unique_ptr<FaultAndHealth> component(FaultAndHealth::Init(
        bus, "/com/vexa/olvar/health/benchmark", 2, false));
    require(component != nullptr, "hold a component");
    SELAndFault events(component.get(), "benchmark");
    const auto kinds = kindsOfWork(*component, events);
    const auto found = kinds.find(argc > 1 ? argv[1] : "");
    if (found == kinds.end())
    {
        return 2;
    }
    healthintf::bench::takeTurns(found->second);
    return 0;
}
