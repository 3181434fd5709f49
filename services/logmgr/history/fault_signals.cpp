// SPDX-License-Identifier: Apache-2.0
#include "fault_signals.hpp"

#include "../../common/service_log.hpp"
#include "bus_calls.hpp"
#include "config_manager/change_record.hpp"
#include "line_limit.hpp"
#include "notification/protocol.hpp"

#include <com/vexa/olvar/healthmgr/FaultEntry/common.hpp>
#include <com/vexa/olvar/healthmgr/names.hpp>
#include <com/vexa/olvar/logmgr/names.hpp>

#include <cerrno>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <memory>
#include <string_view>
#include <utility>

namespace healthintf::history
{

namespace log = services::log;
using host::checkBus;
using sdbusplus::common::com::vexa::olvar::healthmgr::FaultEntry;

namespace
{

/** Limits the lines about signals, which anybody may send. */
constinit host::LineLimit signalFailureLines;

/** How long the bus may take to tell who has sent a signal. */
constexpr std::chrono::microseconds longestQuestion = std::chrono::seconds(1);

/** How many senders are remembered. */
constexpr std::size_t mostSenders = 1024;

/** How many messages may wait when the bus is asked for a sender. Each question
 *  reads all that has come before its answer into the memory, and a flood of
 *  signals from ever new senders would fill it. */
constexpr uint64_t mostWaiting = 256;

struct UnrefCredentials
{
    void operator()(sd_bus_creds* credentials) const
    {
        sd_bus_creds_unref(credentials);
    }
};

/** A match rule for a signal; a null sender or path matches any. */
struct Rule
{
    const char* sender;
    const char* path;
    const char* interface;
    const char* member;
    sd_bus_message_handler_t take;
};

std::vector<std::string> readTexts(sd_bus_message* message)
{
    std::vector<std::string> texts;
    checkBus("sd_bus_message_enter_container",
             sd_bus_message_enter_container(message, 'a', "s"));
    const char* text = nullptr;
    while (sd_bus_message_read(message, "s", &text) > 0)
    {
        texts.emplace_back(text);
    }
    checkBus("sd_bus_message_exit_container",
             sd_bus_message_exit_container(message));
    return texts;
}

/** Whether so little waits on a connection that it may be asked. */
bool mayAsk(sd_bus* bus)
{
    uint64_t waiting = 0;
    return sd_bus_get_n_queued_read(bus, &waiting) >= 0 &&
           waiting <= mostWaiting;
}

/** Asks the bus for the owner of a unique name.
 *
 *  @param[out] sender nothing when the bus has no such name any more
 *  @return whether the bus has answered that or who it is */
bool ask(sd_bus* bus, const char* name, std::optional<Sender>& sender)
{
    sd_bus_creds* raw = nullptr;
    const int result = sd_bus_get_name_creds(
        bus, name, SD_BUS_CREDS_PID | SD_BUS_CREDS_EUID, &raw);
    const std::unique_ptr<sd_bus_creds, UnrefCredentials> credentials(raw);
    uid_t user = 0;
    if (result >= 0 && sd_bus_creds_get_euid(raw, &user) >= 0)
    {
        pid_t pid = 0;
        // Not known of a process in a container.
        sd_bus_creds_get_pid(raw, &pid);
        sender = Sender{.user = user, .pid = static_cast<uint32_t>(pid)};
    }
    return result >= 0 || result == -ENXIO;
}

/** Reads the signal FaultEntryAdded. */
Fault readFault(sd_bus_message* message)
{
    const char* fqdd = nullptr;
    const char* messageId = nullptr;
    const char* text = nullptr;
    checkBus("sd_bus_message_read",
             sd_bus_message_read(message, "sss", &fqdd, &messageId, &text));
    Fault fault{.entry = sd_bus_message_get_path(message),
                .messageId = messageId,
                .args = readTexts(message),
                .message = text};
    uint64_t timestamp = 0;
    const char* sensorPath = nullptr;
    checkBus("sd_bus_message_read",
             sd_bus_message_read(message, "tusuu", &timestamp, &fault.severity,
                                 &sensorPath, &fault.sensorNumber,
                                 &fault.sensorType));
    fault.sensorPath = sensorPath;
    return fault;
}

} // namespace

FaultSignals::FaultSignals(Handlers handlers) : handlers(std::move(handlers))
{}

void FaultSignals::listen(sd_bus* bus)
{
    senders.clear();
    sd_bus_set_method_call_timeout(
        bus, static_cast<uint64_t>(longestQuestion.count()));
    const Rule rules[]{
        {nullptr, nullptr, FaultEntry::interface,
         FaultEntry::FaultEntryAdded::name, take<&FaultSignals::takeAdded>},
        {nullptr, nullptr, FaultEntry::interface,
         FaultEntry::FaultEntryRemoved::name, take<&FaultSignals::takeRemoved>},
        {names::logmgrService, names::selPath, names::selInterface,
         names::selCleared, take<&FaultSignals::takeLogCleared>},
        {names::managerService, host::notificationPath,
         host::notificationInterface, host::notificationMember,
         take<&FaultSignals::takeNotification>},
    };
    for (const auto& [sender, path, interface, member, handler] : rules)
    {
        checkBus("sd_bus_match_signal_async",
                 sd_bus_match_signal_async(bus, nullptr, sender, path,
                                           interface, member, handler, nullptr,
                                           this));
    }
}

template <auto Member>
int FaultSignals::take(sd_bus_message* message, void* context,
                       sd_bus_error* /*error*/) noexcept
{
    try
    {
        (static_cast<FaultSignals*>(context)->*Member)(message);
    }
    catch (const std::exception& e)
    {
        if (signalFailureLines.admits())
        {
            SERVICE_LOG(log::warning, "EXCEPTION %s.%d.%s: %s", e.what());
        }
    }
    return 0;
}

/** Who has sent a message; nothing when the bus does not know it any more, or
 *  cannot be asked now. Then the data cache tells what the message would. */
std::optional<Sender> FaultSignals::findSender(sd_bus_message* message)
{
    const char* name = sd_bus_message_get_sender(message);
    if (name == nullptr)
    {
        return std::nullopt;
    }
    if (const auto known = senders.find(name); known != senders.end())
    {
        return known->second;
    }
    sd_bus* bus = sd_bus_message_get_bus(message);
    std::optional<Sender> sender;
    if (!mayAsk(bus) || !ask(bus, name, sender))
    {
        return std::nullopt;
    }
    if (senders.size() >= mostSenders)
    {
        senders.clear();
    }
    return senders[name] = sender;
}

void FaultSignals::takeAdded(sd_bus_message* message)
{
    if (const auto sender = findSender(message))
    {
        handlers.added(*sender, readFault(message));
    }
}

void FaultSignals::takeRemoved(sd_bus_message* message)
{
    if (const auto sender = findSender(message))
    {
        handlers.removed(*sender, sd_bus_message_get_path(message));
    }
}

void FaultSignals::takeLogCleared(sd_bus_message* /*message*/) const
{
    Record record;
    record.kind = Kind::logCleared;
    handlers.happened(std::move(record));
}

/** Takes a notification, which may be that of a changed attribute. */
void FaultSignals::takeNotification(sd_bus_message* message) const
{
    const char* text = nullptr;
    checkBus("sd_bus_message_read", sd_bus_message_read(message, "s", &text));
    std::string_view name(text);
    if (!name.starts_with(host::changePrefix))
    {
        return;
    }
    const void* data = nullptr;
    std::size_t size = 0;
    checkBus("sd_bus_message_read_array",
             sd_bus_message_read_array(message, 'y', &data, &size));
    const auto change =
        host::decodeChange(static_cast<const uint8_t*>(data), size);
    if (!change)
    {
        return;
    }
    name.remove_prefix(host::changePrefix.size());
    Record record;
    record.kind = Kind::attributeChanged;
    record.comment = std::string(name) + " = " + std::to_string(change->value) +
                     " (was " + std::to_string(change->previous) + ")";
    handlers.happened(std::move(record));
}

} // namespace healthintf::history
