// SPDX-License-Identifier: Apache-2.0
#include "bus_source.hpp"

#include "../context.hpp"
#include "../model/component.hpp"
#include "bus_survey.hpp"
#include "data_cache/segment_format.hpp"
#include "process_name.hpp"

#include <com/vexa/olvar/healthmgr/FaultEntry/common.hpp>
#include <com/vexa/olvar/healthmgr/HealthStatus/common.hpp>
#include <com/vexa/olvar/healthmgr/names.hpp>
#include <hmi_health_value.hpp>

#include <systemd/sd-bus.h>

#include <algorithm>
#include <cerrno>
#include <memory>
#include <optional>
#include <tuple>
#include <utility>

#include <bus_calls.hpp>

namespace healthintf::healthctl
{
namespace
{

namespace common = sdbusplus::common::com::vexa::olvar::healthmgr;

struct Unref
{
    void operator()(sd_bus_creds* credentials) const
    {
        sd_bus_creds_unref(credentials);
    }
};

/** The process behind a connection, in words; nothing when it has left.
 *
 *  @throws Error when the bus does not answer, or is gone */
std::optional<std::string> findProcess(sd_bus* bus, const std::string& peer)
{
    sd_bus_creds* found = nullptr;
    pid_t pid = 0;
    const int result =
        sd_bus_get_name_creds(bus, peer.c_str(), SD_BUS_CREDS_PID, &found);
    if (result == -ETIMEDOUT)
    {
        expectAnswer(result);
    }
    expectConnected(bus);
    if (result < 0)
    {
        return std::nullopt;
    }
    const std::unique_ptr<sd_bus_creds, Unref> credentials(found);
    return sd_bus_creds_get_pid(found, &pid) < 0 ? peer : readProcessName(pid);
}

FaultEntry_gen makeRecord(const Properties& of)
{
    return FaultEntry_gen(FaultEntryProperties{
        .fqdd = readValue<std::string>(of, "FQDD"),
        .messageID = readValue<std::string>(of, "MessageID"),
        .message = readValue<std::string>(of, "Message"),
        .args = readValue<std::vector<std::string>>(of, "Args"),
        .timestamp = readValue<uint64_t>(of, "Timestamp"),
        .severity = readValue<uint32_t>(of, "Severity"),
        .sensorPath = readValue<std::string>(of, "SensorPath"),
        .sensorNumber = readValue<uint32_t>(of, "SensorNumber"),
        .sensorType = readValue<uint32_t>(of, "SensorType"),
        .ledState = readValue<int32_t>(of, "LedState"),
        .lcdMessage = readValue<std::string>(of, "LcdMessage"),
        .hidden = readValue<bool>(of, "Hidden")});
}

} // namespace

BusSource::BusSource(const RepeatedReading& reading)
{
    const auto kept = connectBus();
    sd_bus* bus = nullptr;
    sd_bus_default(&bus);
    const BusPtr owned(bus);
    Survey survey = surveyBus(bus, reading);
    survey.silent.merge(survey.refused);
    for (const std::string& peer : survey.silent)
    {
        if (const auto process = findProcess(bus, peer))
        {
            silentProcesses.emplace(peer, *process);
        }
    }
    // Of two holders of a key the younger one counts, as in the data cache.
    for (const auto& [peer, shown] : survey.shown)
    {
        const std::string holder = findProcess(bus, peer).value_or(peer);
        if (shown.rootHealth)
        {
            foundNodes[names::root] = {*shown.rootHealth, holder, peer};
        }
        for (const auto& [path, interfaces] : shown.objects)
        {
            if (path.size() > host::maxRecordPath)
            {
                // Anybody may show a key of a million levels.
                continue;
            }
            if (const auto node =
                    interfaces.find(common::HealthStatus::interface);
                node != interfaces.end())
            {
                foundNodes[path] = {
                    readValue<uint32_t>(node->second, "HealthStatus"), holder,
                    peer};
            }
            if (const auto entry =
                    interfaces.find(common::FaultEntry::interface);
                entry != interfaces.end())
            {
                foundFaults.push_back({path, makeRecord(entry->second), peer});
            }
        }
    }
    std::ranges::sort(foundFaults, {}, &Fault::path);
}

const char* BusSource::name() const
{
    return "bus";
}

SilentProcesses BusSource::silent() const
{
    return silentProcesses;
}

Nodes BusSource::nodes()
{
    return foundNodes;
}

Faults BusSource::faults()
{
    return foundFaults;
}

Counts BusSource::counts()
{
    const auto hidden =
        std::ranges::count_if(foundFaults, [](const Fault& fault) {
            return fault.record.hidden();
        });
    return {static_cast<int>(foundFaults.size()) - static_cast<int>(hidden),
            static_cast<int>(hidden)};
}

LedStates BusSource::leds()
{
    LedStates states{};
    for (const Fault& fault : foundFaults)
    {
        const int32_t state = fault.record.ledState();
        if (state > 0 && static_cast<std::size_t>(state) < states.size())
        {
            states[static_cast<std::size_t>(state)] = true;
        }
    }
    return states;
}

Faults BusSource::top(const std::string& key, std::size_t n, bool severeOnly)
{
    Faults wanted;
    std::ranges::copy_if(
        foundFaults, std::back_inserter(wanted), [&](const Fault& fault) {
            return !fault.record.hidden() &&
                   isAtOrBelow(getComponent(fault.path), key) &&
                   (!severeOnly ||
                    fault.record.severity() > health_namespace::healthOk);
        });
    std::ranges::stable_sort(wanted, {}, [](const Fault& fault) {
        return std::pair(-static_cast<int64_t>(fault.record.severity()),
                         fault.record.timestamp());
    });
    if (n != 0 && n < wanted.size())
    {
        wanted.erase(wanted.begin() + static_cast<std::ptrdiff_t>(n),
                     wanted.end());
    }
    return wanted;
}

} // namespace healthintf::healthctl
