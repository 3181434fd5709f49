// SPDX-License-Identifier: Apache-2.0
#include "silenced_faults.hpp"

#include "../common/service_log.hpp"

#include <com/vexa/olvar/healthmgr/FaultEntry/common.hpp>
#include <com/vexa/olvar/healthmgr/names.hpp>
#include <hmi_fault_health.hpp>
#include <platform/data_abstraction/fault_entry.hpp>

#include <sdbusplus/exception.hpp>

#include <algorithm>
#include <map>
#include <string>
#include <system_error>
#include <vector>

namespace healthintf::healthmgr
{

namespace log = services::log;
using Entry = sdbusplus::common::com::vexa::olvar::healthmgr::FaultEntry;
using Clock = std::chrono::steady_clock;

namespace
{

std::string additionRule()
{
    return std::string("type='signal',interface='") + Entry::interface +
           "',member='" + Entry::FaultEntryAdded::name + "'";
}

std::string hideRule()
{
    return std::string("type='signal',path='") + names::root + "',interface='" +
           names::managerInterface + "',member='" +
           Entry::HideFaultForSensor::name + "'";
}

/** Asks all components to hide or show faults. */
void send(bool hide, const SilenceTarget& target)
{
    try
    {
        health_namespace::FaultAndHealth::SendHideFaultsSignal(
            hide, target.key, target.sensorPath,
            static_cast<int>(target.sensorNumber));
    }
    catch (const sdbusplus::exception_t& e)
    {
        SERVICE_LOG(log::error, "%s.%d.%s: unable to %s the faults of %s: %s",
                    hide ? "hide" : "show", describe(target).c_str(), e.what());
    }
}

} // namespace

SilencedFaults::SilencedFaults(services::Connection& connection,
                               services::EventLoop& loop,
                               const Silences& silences) :
    connection(connection),
    silences(silences), sending(loop.onceLater([this] {
        hideWaiting();
    }))
{
    for (const auto& [id, silence] : silences.all())
    {
        hide(id);
    }
}

void SilencedFaults::hide(uint64_t id)
{
    listen();
    hideSoon(id);
}

void SilencedFaults::show(const SilenceTarget& target)
{
    if (!silences.has(target))
    {
        send(false, target);
    }
    if (silences.empty())
    {
        additions.reset();
        hideSignals.reset();
    }
}

void SilencedFaults::check()
{
    if (silences.empty())
    {
        return;
    }
    listen();
    std::map<std::string, FaultEntry_gen> records;
    // What cannot be read now is looked at the next time.
    DataAbstraction::FaultEntry::get_map_by_path_prefixes({}, {}, records);
    for (const auto& [path, record] : records)
    {
        if (!record.hidden())
        {
            hideCovered({.key = componentOf(path),
                         .sensorPath = record.sensorPath(),
                         .sensorNumber = record.sensorNumber()});
        }
    }
}

/** Subscribes to what may show a silenced fault. Without a subscription, such a
 *  fault is hidden at the next check. */
void SilencedFaults::listen()
{
    if (hideSignals)
    {
        return;
    }
    try
    {
        additions.emplace(connection.get(), additionRule(),
                          [this](auto& message) {
                              takeAddition(message);
                          });
        hideSignals.emplace(connection.get(), hideRule(),
                            [this](auto& message) {
                                takeHideSignal(message);
                            });
    }
    catch (const std::system_error& e)
    {
        SERVICE_LOG(log::error,
                    "%s.%d.%s: unable to hear of new faults: %s; silenced ones "
                    "are hidden seconds later",
                    e.what());
    }
}

void SilencedFaults::takeAddition(sdbusplus::message_t& message)
{
    SilenceTarget fault;
    fault.key = componentOf(message.get_path());
    std::string text;
    std::vector<std::string> arguments;
    uint64_t timestamp = 0;
    uint32_t severity = 0;
    message.read(text, text, text, arguments, timestamp, severity,
                 fault.sensorPath, fault.sensorNumber);
    hideCovered(fault);
}

/** Somebody has hidden or shown faults. What the components show for that, they
 *  hide again for this signal: the bus delivers it after that one. */
void SilencedFaults::takeHideSignal(sdbusplus::message_t& message)
{
    bool hide = false;
    SilenceTarget shown;
    int32_t number = 0;
    message.read(hide, shown.key, shown.sensorPath, number);
    if (hide || message.get_sender() == connection.uniqueName())
    {
        return;
    }
    shown.sensorNumber = static_cast<uint32_t>(number);
    hideCovered(shown);
}

/** Hides the faults of all silences that cover a fault. Each of them keeps it
 *  hidden when others end. */
void SilencedFaults::hideCovered(const SilenceTarget& fault)
{
    for (const auto& [id, silence] : silences.all())
    {
        if (covers(silence.target, fault))
        {
            hideSoon(id);
        }
    }
}

void SilencedFaults::hideSoon(uint64_t id)
{
    if (!waiting.empty())
    {
        waiting.insert(id);
        return;
    }
    waiting.insert(id);
    services::EventLoop::after(
        sending, std::chrono::duration_cast<std::chrono::microseconds>(
                     std::max(pauseEnd - Clock::now(), Clock::duration(0))));
}

void SilencedFaults::hideWaiting()
{
    const SilenceMap& all = silences.all();
    std::vector<SilenceTarget> sent;
    for (const uint64_t id : waiting)
    {
        const auto found = all.find(id);
        // It may be over, and several may have one target.
        if (found != all.end() &&
            std::ranges::find(sent, found->second.target) == sent.end())
        {
            send(true, found->second.target);
            sent.push_back(found->second.target);
        }
    }
    waiting.clear();
    pauseEnd = Clock::now() + pause;
}

} // namespace healthintf::healthmgr
