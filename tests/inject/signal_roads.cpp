// SPDX-License-Identifier: Apache-2.0
/** @file Roads on which a component receives a message. */

#include "road.hpp"
#include "world.hpp"

#include <platform/config_manager.h>

#include <array>

namespace healthintf::test
{
namespace
{

const char* const root = "/com/vexa/olvar/health";

/** A road that processes messages.
 *
 *  @param[in] send sends them; no call fails there */
Road messageRoad(const std::string& name,
                 const std::function<void(Try&)>& prepare,
                 const std::function<void(Try&)>& send,
                 const std::function<bool(const View&, const View&)>& done)
{
    return {.name = name,
            .prepare = prepare,
            .send = send,
            .run =
                [](Try&) {
                    world().take();
                    return 0;
                },
            .failures = {},
            .done = done,
            .again =
                [send](Try& tried) {
                    send(tried);
                    world().deliver();
                    world().take();
                    return 0;
                },
            // The library drops a message that it cannot handle.
            .keepsNoPromise = true};
}

void sendHide(bool hide, const std::string& key, const std::string& path,
              int number)
{
    sd_bus_emit_signal(world().client(), root, "com.vexa.olvar.healthmgr",
                       "HideFaultForSensor", "bssi", hide ? 1 : 0, key.c_str(),
                       path.c_str(), number);
}

void sendHealth(const Try& tried, uint32_t health)
{
    const std::string child = tried.key + "/child";
    sd_bus_emit_signal(world().client(), child.c_str(),
                       "com.vexa.olvar.healthmgr.HealthStatus",
                       "HealthStatusUpdate", "ssu", tried.key.c_str(),
                       child.c_str(), health);
}

void setAttribute(const char* name, int32_t value)
{
    const CfgMgrOrigin origin{"test", nullptr, nullptr};
    CfgSetAttributeInt(name, value, 0, &origin);
}

constexpr const char* hideErrors = "system.embedded.1#lcd.1#hideerrs";
constexpr const char* oemFlags = "system.embedded.1#lcd.1#oemLCDFlags";

bool allHidden(const View& /*before*/, const View& after)
{
    return after.hidden() == after.faults.size();
}

bool firstSensorHidden(const View& /*before*/, const View& after)
{
    return after.hidden() == after.count(critical);
}

void announce(uint8_t sensorNumber)
{
    std::array<uint8_t, 16> record{};
    record[11] = sensorNumber;
    const std::string path =
        "/com/vexa/olvar/logmgr/SEL/" + std::to_string(sensorNumber);
    sd_bus_message* made = nullptr;
    sd_bus_message_new_signal(world().client(), &made, path.c_str(),
                              "com.vexa.olvar.logmgr.SEL", "SignalSELEvent");
    const MessagePtr message(made);
    sd_bus_message_append_array(made, 'y', record.data(), record.size());
    sd_bus_send(world().client(), made, nullptr);
}

constexpr uint8_t heardSensor = 5;

int listen(Try& tried)
{
    return tried.events->RegisterForBIOSPreSELEvent(
        world().bus,
        [&tried](const SELInterface::SELRecord&) {
            ++tried.heard;
            return 0;
        },
        heardSensor);
}

Road preSelEventRoad()
{
    Road road = messageRoad(
        "preSelEvent",
        [](Try& tried) {
            tried.events = std::make_unique<logmgr_interface::SELAndFault>();
            listen(tried);
        },
        [](Try&) {
            announce(heardSensor);
        },
        [](const View&, const View&) {
            return true;
        });
    road.again = [again = road.again](Try& tried) {
        tried.heard = 0;
        again(tried);
        return tried.heard == 1 ? 0 : -1;
    };
    return road;
}

} // namespace

std::vector<Road> signalRoads()
{
    return {
        messageRoad(
            "hideSignalOfKey", withFaults,
            [](Try& tried) {
                sendHide(true, tried.key, "", 0);
            },
            allHidden),
        messageRoad(
            "hideSignalOfPath", withFaults,
            [](Try&) {
                sendHide(true, "", firstSensor, 0);
            },
            firstSensorHidden),
        messageRoad(
            "hideSignalOfNumber", withFaults,
            [](Try&) {
                sendHide(true, "", "", 1);
            },
            firstSensorHidden),
        messageRoad(
            "hideErrorsAttribute", withFaults,
            [](Try&) {
                // The health manager announces only changes.
                setAttribute(hideErrors, 1);
                setAttribute(hideErrors, 0);
            },
            allHidden),
        messageRoad(
            "oemFlagsAttribute", withFaults,
            [](Try&) {
                setAttribute(oemFlags, 1);
                setAttribute(oemFlags, 0);
            },
            [](const View&, const View& after) {
                return after.hidden() == 0;
            }),
        messageRoad(
            "childsHealth", withoutFaults,
            [](Try& tried) {
                tried.childsHealth = 4;
                sendHealth(tried, tried.childsHealth);
            },
            [](const View&, const View& after) {
                return after.health == 4u;
            }),
        preSelEventRoad(),
        {.name = "RegisterForBIOSPreSELEvent",
         .prepare =
             [](Try& tried) {
                 tried.events =
                     std::make_unique<logmgr_interface::SELAndFault>();
             },
         .run = listen,
         .failures = {},
         .throwsBusErrors = true,
         .throwsBadAlloc = true,
         .done =
             [](const View&, const View&) {
                 return true;
             }},
    };
}

} // namespace healthintf::test
