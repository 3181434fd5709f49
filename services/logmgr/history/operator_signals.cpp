// SPDX-License-Identifier: Apache-2.0
#include "operator_signals.hpp"

#include "../../common/service_log.hpp"
#include "bus_calls.hpp"
#include "healthmgr/protocol.hpp"
#include "line_limit.hpp"
#include "now.hpp"

#include <platform/bus_handles.hpp>

#include <sdbusplus/message.hpp>

#include <algorithm>
#include <cstdint>
#include <exception>
#include <string>
#include <utility>
#include <vector>

namespace healthintf::history
{

namespace log = services::log;
namespace members = host::members;
using host::checkBus;
using host::getMember;

namespace
{

/** Limits the lines about signals and answers of healthmgr. */
constinit host::LineLimit failureLines;

constexpr int64_t millisecondsOfSecond = 1000;

/** Matches the beginning and the end of healthmgr. */
std::string ownerRule()
{
    return std::string("type='signal',sender='org.freedesktop.DBus',"
                       "member='NameOwnerChanged',arg0='") +
           host::healthmgrService + "'";
}

int64_t getTime(const host::Members& members, const char* name)
{
    return getMember<int64_t>(members, name) * millisecondsOfSecond;
}

/** A silence, without what has happened to it. */
Record makeSilence(const host::Members& silence)
{
    Record record;
    record.fault.component =
        getMember<std::string>(silence, members::component);
    record.fault.sensorPath =
        getMember<std::string>(silence, members::sensorPath);
    record.fault.sensorNumber =
        getMember<uint32_t>(silence, members::sensorNumber);
    record.comment = "silence " +
                     std::to_string(getMember<uint64_t>(silence, members::id)) +
                     ": " + getMember<std::string>(silence, members::comment);
    return record;
}

Record makeSilenced(const host::Members& silence)
{
    Record record = makeSilence(silence);
    record.kind = Kind::silenced;
    record.time = getTime(silence, members::since);
    record.fault.user = getMember<uint32_t>(silence, members::user);
    return record;
}

Record makeSilenceEnded(const host::Members& silence)
{
    Record record = makeSilence(silence);
    record.kind = Kind::silenceEnded;
    record.time = Now::read().wall;
    record.lasted =
        std::max(record.time - getTime(silence, members::since), int64_t{0});
    const bool early =
        getMember<std::string>(silence, members::reason) == host::endedReason;
    record.fault.user =
        early ? getMember<uint32_t>(silence, members::endedBy) : noUser;
    record.comment += early ? " (ended early)" : "";
    return record;
}

Record makeAcknowledged(const host::Members& acknowledgement)
{
    Record record;
    record.kind = Kind::acknowledged;
    record.time = getTime(acknowledgement, members::time);
    record.fault.entry =
        getMember<std::string>(acknowledgement, members::fault);
    record.fault.messageId =
        getMember<std::string>(acknowledgement, members::messageId);
    record.fault.user = getMember<uint32_t>(acknowledgement, members::user);
    record.comment = getMember<std::string>(acknowledgement, members::comment);
    return record;
}

/** Does something with a message and logs a failure: exceptions must not reach
 *  libsystemd, which is C. */
int handle(const std::function<void()>& work) noexcept
{
    try
    {
        work();
    }
    catch (const std::exception& e)
    {
        if (failureLines.admits())
        {
            SERVICE_LOG(log::warning, "EXCEPTION %s.%d.%s: %s", e.what());
        }
    }
    return 0;
}

} // namespace

OperatorSignals::OperatorSignals(Handlers handlers) :
    handlers(std::move(handlers))
{}

void OperatorSignals::listen(sd_bus* bus)
{
    listen(bus, host::silencesInterface, host::silencedSignal,
           takeSignal<makeSilenced>);
    listen(bus, host::silencesInterface, host::silenceEndedSignal,
           takeSignal<makeSilenceEnded>);
    listen(bus, host::acknowledgementsInterface, host::acknowledgedSignal,
           takeSignal<makeAcknowledged>);
    checkBus("sd_bus_add_match_async",
             sd_bus_add_match_async(bus, nullptr, ownerRule().c_str(),
                                    takeOwner, nullptr, this));
    ask(bus);
}

void OperatorSignals::ask(sd_bus* bus)
{
    ask(bus, host::silencesInterface, host::listSilencesMethod,
        takeList<makeSilenced>);
    ask(bus, host::acknowledgementsInterface, host::listAcknowledgementsMethod,
        takeList<makeAcknowledged>);
}

void OperatorSignals::listen(sd_bus* bus, const char* interface,
                             const char* signal, sd_bus_message_handler_t take)
{
    checkBus("sd_bus_match_signal_async",
             sd_bus_match_signal_async(bus, nullptr, host::healthmgrService,
                                       host::healthmgrPath, interface, signal,
                                       take, nullptr, this));
}

void OperatorSignals::ask(sd_bus* bus, const char* interface,
                          const char* method, sd_bus_message_handler_t take)
{
    sd_bus_message* raw = nullptr;
    checkBus("sd_bus_message_new_method_call",
             sd_bus_message_new_method_call(bus, &raw, host::healthmgrService,
                                            host::healthmgrPath, interface,
                                            method));
    const MessagePtr call(raw);
    // What nobody keeps is not there.
    sd_bus_message_set_auto_start(raw, 0);
    checkBus("sd_bus_call_async",
             sd_bus_call_async(bus, nullptr, raw, take, this, 0));
}

/** Asks a healthmgr that has just begun: it may know more than the last one has
 *  told, and there may have been none. */
int OperatorSignals::takeOwner(sd_bus_message* message, void* context,
                               sd_bus_error* /*error*/) noexcept
{
    return handle([&] {
        std::string name;
        std::string before;
        std::string after;
        sdbusplus::message_t(message).read(name, before, after);
        if (!after.empty())
        {
            static_cast<OperatorSignals*>(context)->ask(
                sd_bus_message_get_bus(message));
        }
    });
}

template <OperatorSignals::MakeRecord Make>
int OperatorSignals::takeSignal(sd_bus_message* message, void* context,
                                sd_bus_error* /*error*/) noexcept
{
    return handle([&] {
        host::Members told;
        sdbusplus::message_t(message).read(told);
        static_cast<OperatorSignals*>(context)->handlers.happened(Make(told));
    });
}

template <OperatorSignals::MakeRecord Make>
int OperatorSignals::takeList(sd_bus_message* reply, void* context,
                              sd_bus_error* /*error*/) noexcept
{
    return handle([&] {
        if (sd_bus_message_is_method_error(reply, nullptr) > 0)
        {
            return;
        }
        std::vector<host::Members> all;
        sdbusplus::message_t(reply).read(all);
        for (const host::Members& each : all)
        {
            static_cast<OperatorSignals*>(context)->handlers.found(Make(each));
        }
    });
}

} // namespace healthintf::history
