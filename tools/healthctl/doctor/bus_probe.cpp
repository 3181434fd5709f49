// SPDX-License-Identifier: Apache-2.0
#include "bus_probe.hpp"

#include "../context.hpp"
#include "../source/bus_survey.hpp"
#include "../source/process_name.hpp"
#include "match_quotas.hpp"

#include <com/vexa/olvar/healthmgr/names.hpp>
#include <com/vexa/olvar/logmgr/names.hpp>

#include <healthmgr/protocol.hpp>

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>

#include <bus_calls.hpp>

namespace healthintf::healthctl
{
namespace
{

using Names = std::vector<std::string>;

constexpr const char* busName = "org.freedesktop.DBus";
constexpr const char* busPath = "/org/freedesktop/DBus";

/** How long the bus or a service may take to answer, in microseconds. */
constexpr uint64_t patience = 5'000'000;

/** The result of a call. */
struct Answer
{
    MessagePtr reply;
    bool late = false;
    /** The D-Bus name of an error, and its text. */
    std::string error;
    std::string text;
};

MessagePtr newCall(sd_bus* bus, const char* service, const char* path,
                   const char* interface, const char* member)
{
    sd_bus_message* message = nullptr;
    host::checkBus("sd_bus_message_new_method_call",
                   sd_bus_message_new_method_call(bus, &message, service, path,
                                                  interface, member));
    MessagePtr owned(message);
    // The doctor starts no service.
    host::checkBus("sd_bus_message_set_auto_start",
                   sd_bus_message_set_auto_start(message, 0));
    return owned;
}

Answer call(sd_bus* bus, const MessagePtr& message)
{
    sd_bus_error error = SD_BUS_ERROR_NULL;
    sd_bus_message* reply = nullptr;
    const int result =
        sd_bus_call(bus, message.get(), patience, &error, &reply);
    Answer answer{.reply = MessagePtr(reply),
                  .late = result == -ETIMEDOUT,
                  .error = "",
                  .text = ""};
    if (result < 0)
    {
        answer.error = error.name != nullptr ? error.name : "failed";
        answer.text =
            error.message != nullptr ? error.message : std::strerror(-result);
        sd_bus_error_free(&error);
    }
    return answer;
}

/** Calls the bus itself.
 *
 *  @throws Error when it does not answer, or is gone: nothing can be said of
 *          the services then */
Answer callBus(sd_bus* bus, const MessagePtr& message)
{
    Answer answer = call(bus, message);
    if (answer.late)
    {
        expectAnswer(-ETIMEDOUT);
    }
    expectConnected(bus);
    return answer;
}

Answer ask(sd_bus* bus, const char* interface, const char* member,
           const char* name)
{
    const MessagePtr message =
        newCall(bus, busName, busPath, interface, member);
    host::checkBus("sd_bus_message_append",
                   sd_bus_message_append(message.get(), "s", name));
    return callBus(bus, message);
}

uint32_t findProcessId(sd_bus* bus, const std::string& name)
{
    const Answer answer =
        ask(bus, busName, "GetConnectionUnixProcessID", name.c_str());
    uint32_t pid = 0;
    if (answer.reply)
    {
        sd_bus_message_read(answer.reply.get(), "u", &pid);
    }
    return pid;
}

/** Whether a service answers in time, with an error too.
 *
 *  @throws Error when the bus is gone */
bool isResponding(sd_bus* bus, const std::string& name)
{
    const bool late = call(bus, newCall(bus, name.c_str(), "/",
                                        "org.freedesktop.DBus.Peer", "Ping"))
                          .late;
    expectConnected(bus);
    return !late;
}

/** The names that a method of the bus lists. */
Names listNames(sd_bus* bus, const char* member)
{
    const Answer answer =
        callBus(bus, newCall(bus, busName, busPath, busName, member));
    Names names;
    if (answer.reply &&
        sd_bus_message_enter_container(answer.reply.get(), 'a', "s") > 0)
    {
        const char* name = nullptr;
        while (sd_bus_message_read(answer.reply.get(), "s", &name) > 0)
        {
            names.emplace_back(name);
        }
    }
    return names;
}

/** An address without the bus's own number, which says nothing to a person. */
std::string withoutNumber(const std::string& address)
{
    return address.substr(0, address.find(",guid="));
}

/** Where the bus is looked for. */
std::string expectedAddress()
{
    const char* kind = std::getenv("DBUS_STARTER_BUS_TYPE");
    const bool user = kind != nullptr && std::string_view(kind) == "user";
    const char* given = std::getenv(user ? "DBUS_SESSION_BUS_ADDRESS"
                                         : "DBUS_SYSTEM_BUS_ADDRESS");
    if (given != nullptr)
    {
        return withoutNumber(given);
    }
    return user ? "$XDG_RUNTIME_DIR/bus" : "/run/dbus/system_bus_socket";
}

/** Notes whether a call was allowed. An error of the service's own means that
 *  the call reached it. */
void noteResult(const Answer& answer, Attempt& attempt)
{
    if (answer.error == SD_BUS_ERROR_ACCESS_DENIED)
    {
        attempt.result = Attempt::Result::denied;
    }
    else if (answer.reply || answer.error == SD_BUS_ERROR_INVALID_ARGS ||
             answer.error.starts_with("com.vexa.olvar."))
    {
        attempt.result = Attempt::Result::allowed;
    }
    else
    {
        attempt.result = Attempt::Result::failed;
        attempt.why = answer.text;
    }
}

/** Asks for a node with an empty key, which healthmgr refuses. */
Answer askForNoNode(sd_bus* bus)
{
    const MessagePtr message =
        newCall(bus, names::managerService, names::managerPath,
                names::managerInterface, host::addHealthObjectMethod);
    host::checkBus("sd_bus_message_append",
                   sd_bus_message_append(message.get(), "s", ""));
    return call(bus, message);
}

Answer readTree(sd_bus* bus)
{
    return call(bus, newCall(bus, names::managerService, names::root,
                             "org.freedesktop.DBus.ObjectManager",
                             "GetManagedObjects"));
}

/** Adds an empty record, which logmgr refuses and does not announce. */
Answer addNoRecord(sd_bus* bus)
{
    const MessagePtr message =
        newCall(bus, names::logmgrService, names::selPath, names::selInterface,
                names::addSelMethod);
    host::checkBus(
        "sd_bus_message_append",
        sd_bus_message_append(message.get(), "(ssyy)ay", "", "", 0, 0, 0));
    return call(bus, message);
}

Answer readLogEntries(sd_bus* bus)
{
    const MessagePtr message =
        newCall(bus, names::logmgrService, names::selPath, names::selInterface,
                "GetEntry");
    host::checkBus("sd_bus_message_append",
                   sd_bus_message_append(message.get(), "q", 0));
    return call(bus, message);
}

/** Requests a bus name that another process owns. */
void tryToOwn(sd_bus* bus, const std::string& name, Attempt& attempt)
{
    const int result = sd_bus_request_name(bus, name.c_str(), 0);
    if (result == -ETIMEDOUT)
    {
        expectAnswer(result);
    }
    if (result >= 0)
    {
        // Its owner has just ended.
        sd_bus_release_name(bus, name.c_str());
    }
    if (result >= 0 || result == -EEXIST)
    {
        attempt.result = Attempt::Result::allowed;
    }
    else if (result == -EACCES || result == -EPERM)
    {
        attempt.result = Attempt::Result::denied;
    }
    else
    {
        attempt.result = Attempt::Result::failed;
        attempt.why = std::strerror(-result);
    }
}

/** How many match rules a connection has, as far as the bus tells. */
std::optional<uint32_t> countRules(sd_bus* bus, const std::string& name)
{
    const Answer answer = ask(bus, "org.freedesktop.DBus.Debug.Stats",
                              "GetConnectionStats", name.c_str());
    sd_bus_message* stats = answer.reply.get();
    if (stats == nullptr ||
        sd_bus_message_enter_container(stats, 'a', "{sv}") <= 0)
    {
        return std::nullopt;
    }
    while (sd_bus_message_enter_container(stats, 'e', "sv") > 0)
    {
        const char* key = "";
        uint32_t number = 0;
        sd_bus_message_read(stats, "s", &key);
        if (std::string_view(key) == "MatchRules" &&
            sd_bus_message_read(stats, "v", "u", &number) > 0)
        {
            return number;
        }
        sd_bus_message_skip(stats, "v");
        sd_bus_message_exit_container(stats);
    }
    return std::nullopt;
}

} // namespace

BusProbe::BusProbe()
{
    sd_bus* connection = nullptr;
    int result = sd_bus_default(&connection);
    bus.reset(connection);
    if (result >= 0)
    {
        result = waitForBus(connection);
    }
    if (result < 0)
    {
        reached = {.address = expectedAddress(),
                   .failure = std::strerror(-result),
                   .hangs = result == -ETIMEDOUT};
        bus.reset();
        return;
    }
    host::checkBus("sd_bus_set_method_call_timeout",
                   sd_bus_set_method_call_timeout(connection, patience));
    const char* address = nullptr;
    if (sd_bus_get_address(connection, &address) >= 0)
    {
        reached.address = withoutNumber(address);
    }
}

std::vector<ServiceState> BusProbe::services() const
{
    const Names activatable = listNames(bus.get(), "ListActivatableNames");
    std::vector<ServiceState> found{
        healthmgr(), look({.program = "logmgr", .name = names::logmgrService})};
    for (ServiceState& service : found)
    {
        service.activatable =
            std::ranges::find(activatable, service.name) != activatable.end();
    }
    return found;
}

ServiceState BusProbe::healthmgr() const
{
    return look({.program = "healthmgr", .name = names::managerService});
}

ServiceState BusProbe::look(ServiceState service) const
{
    service.pid = findProcessId(bus.get(), service.name);
    service.answers = service.pid == 0 || isResponding(bus.get(), service.name);
    return service;
}

std::vector<Attempt>
BusProbe::attempts(const std::vector<ServiceState>& services) const
{
    std::vector<Attempt> made;
    const auto attempt = [&](Attempt next, auto&& act) {
        act(next);
        made.push_back(std::move(next));
    };
    const auto byCalling = [&](Answer (*make)(sd_bus*)) {
        return [this, make](Attempt& next) {
            noteResult(make(bus.get()), next);
        };
    };
    for (const ServiceState& service : services)
    {
        if (service.pid == 0 || !service.answers)
        {
            made.push_back({.check = service.program,
                            .what = "use " + service.program,
                            .why = service.pid == 0 ? "it does not run"
                                                    : "it does not answer"});
            continue;
        }
        const bool health = service.program == "healthmgr";
        attempt(
            {.check = health ? "read-tree" : "read-log",
             .what = health ? "read the nodes of healthmgr" : "read the log",
             .why = ""},
            byCalling(health ? readTree : readLogEntries));
        attempt({.check = health ? "add-node" : "add-sel",
                 .what = health ? "ask for a health node" : "add to the log",
                 .why = "",
                 .reservedFor = "root and the group healthintf"},
                byCalling(health ? askForNoNode : addNoRecord));
        attempt({.check = "own-" + service.program,
                 .what = "own the name " + service.name,
                 .why = "",
                 .reservedFor = "root and the user of the service"},
                [&](Attempt& next) {
                    tryToOwn(bus.get(), service.name, next);
                });
    }
    return made;
}

std::map<std::string, uint32_t> BusProbe::connections() const
{
    std::map<std::string, uint32_t> all;
    for (const std::string& name : listNames(bus.get(), "ListNames"))
    {
        if (name.starts_with(':'))
        {
            all.emplace(name, findProcessId(bus.get(), name));
        }
    }
    return all;
}

MatchUses BusProbe::matchRules() const
{
    std::vector<MatchUse> uses;
    for (const auto& [name, pid] : connections())
    {
        if (const auto rules = countRules(bus.get(), name))
        {
            uses.push_back({readProcessName(static_cast<pid_t>(pid)), *rules});
        }
    }
    return uses.empty() ? std::nullopt : std::optional(std::move(uses));
}

MatchQuotas BusProbe::matchQuotas() const
{
    const Answer answer = callBus(
        bus.get(), newCall(bus.get(), busName, busPath,
                           "org.freedesktop.DBus.Debug.Stats", "GetStats"));
    return answer.reply ? matchQuotasIn(answer.reply.get()) : MatchQuotas();
}

} // namespace healthintf::healthctl
