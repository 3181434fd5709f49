// SPDX-License-Identifier: Apache-2.0
#include "silence_requests.hpp"

#include "../common/service_log.hpp"
#include "healthmgr/protocol.hpp"

#include <sdbusplus/vtable.hpp>

#include <algorithm>
#include <array>
#include <chrono>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <variant>
#include <vector>

namespace healthintf::healthmgr
{

namespace log = services::log;
namespace members = host::members;
namespace vtable = sdbusplus::vtable;

namespace
{

/** While there are silences, how often to look whether the clock was set, and
 *  whether a fault is visible that should not be. */
constexpr std::chrono::microseconds silenceCheckPeriod =
    std::chrono::seconds(10);

/** The argument of Add. A value of another type is an empty text. */
using Wish = std::map<std::string, std::variant<std::string, uint32_t>>;

/** Takes a value out of a wish; its default when it is not there.
 *
 *  @throws RefusedCall when it has another type */
template <typename Value>
Value take(Wish& wish, const char* name)
{
    auto node = wish.extract(name);
    if (node.empty())
    {
        return {};
    }
    if (auto* value = std::get_if<Value>(&node.mapped()))
    {
        return std::move(*value);
    }
    throw RefusedCall(host::invalidError,
                      std::string(name) + " has another type");
}

/** @throws RefusedCall when there may be no such silence */
Silence readSilence(sdbusplus::message_t& call)
{
    Wish wish;
    call.read(wish);
    Silence silence;
    silence.target = {
        .key = take<std::string>(wish, members::component),
        .sensorPath = take<std::string>(wish, members::sensorPath),
        .sensorNumber = take<uint32_t>(wish, members::sensorNumber)};
    silence.seconds = take<uint32_t>(wish, members::seconds);
    silence.comment = take<std::string>(wish, members::comment);
    if (!wish.empty())
    {
        throw RefusedCall(host::invalidError,
                          "a silence has no \"" + wish.begin()->first + "\"");
    }
    if (const std::string fault = explainInvalidSilence(silence);
        !fault.empty())
    {
        throw RefusedCall(host::invalidError, fault);
    }
    return silence;
}

Members describe(uint64_t id, const Silence& silence)
{
    Members all{{members::id, id},
                {members::seconds, silence.seconds},
                {members::comment, silence.comment},
                {members::since, silence.since()},
                {members::until, silence.until},
                {members::user, silence.user}};
    const SilenceTarget& target = silence.target;
    if (!target.key.empty())
    {
        all[members::component] = target.key;
    }
    else if (!target.sensorPath.empty())
    {
        all[members::sensorPath] = target.sensorPath;
    }
    else
    {
        all[members::sensorNumber] = target.sensorNumber;
    }
    return all;
}

} // namespace

template <auto Member>
int SilenceRequests::handle(sd_bus_message* message, void* context,
                            sd_bus_error* error)
{
    return perform(message, error, [context](sdbusplus::message_t& call) {
        (static_cast<SilenceRequests*>(context)->*Member)(call);
    });
}

template <auto Member>
int SilenceRequests::handleForUser(sd_bus_message* message, void* context,
                                   sd_bus_error* error)
{
    auto* requests = static_cast<SilenceRequests*>(context);
    return performForUser(
        message, error, requests->users,
        [requests](sdbusplus::message_t& call, uint32_t user) {
            (requests->*Member)(call, user);
        });
}

const sd_bus_vtable* SilenceRequests::table()
{
    // The policy of the bus decides who may call which method.
    constexpr auto everybody = vtable::common_::unprivileged;
    static constexpr std::array table{
        vtable::start(),
        vtable::method(host::addSilenceMethod, "a{sv}", "t",
                       handleForUser<&SilenceRequests::add>, everybody),
        vtable::method(host::endSilenceMethod, "t", "",
                       handleForUser<&SilenceRequests::end>, everybody),
        vtable::method(host::listSilencesMethod, "", "aa{sv}",
                       handle<&SilenceRequests::list>, everybody),
        vtable::signal(host::silencedSignal, "a{sv}"),
        vtable::signal(host::silenceEndedSignal, "a{sv}"),
        vtable::end(),
    };
    return table.data();
}

SilenceRequests::SilenceRequests(services::Connection& connection,
                                 services::EventLoop& loop, PeerUsers& users,
                                 Silences& silences) :
    users(users),
    silences(silences), faults(connection, loop, silences),
    interface(connection.bus(), host::healthmgrPath, host::silencesInterface,
              table(), this),
    saving(loop,
           [this] {
               return this->silences.save();
           }),
    looking(loop.onceLater([this] {
        look();
    }))
{
    // Some may be over.
    services::EventLoop::after(looking, std::chrono::microseconds(0));
}

void SilenceRequests::add(sdbusplus::message_t& call, uint32_t user)
{
    const Silence wish = readSilence(call);
    const auto id = silences.add(wish.target, wish.seconds, wish.comment, user);
    if (!id)
    {
        throw RefusedCall(host::tooManyError,
                          "there are as many silences as may be: " +
                              std::to_string(Silences::mostOfOneUser) +
                              " of one user, " +
                              std::to_string(Silences::most) + " in all");
    }
    SERVICE_LOG(log::lifetime,
                "%s.%d.%s: user %u silences %s for %u seconds: number %s", user,
                describe(wish.target).c_str(), wish.seconds,
                std::to_string(*id).c_str());
    faults.hide(*id);
    settle();
    announce(interface, host::silencedSignal,
             describe(*id, silences.all().at(*id)));
    reply(call, *id);
}

void SilenceRequests::end(sdbusplus::message_t& call, uint32_t user)
{
    uint64_t id = 0;
    call.read(id);
    const auto silence = silences.end(id);
    if (!silence)
    {
        throw RefusedCall(host::noSilenceError,
                          "there is no silence " + std::to_string(id));
    }
    SERVICE_LOG(log::lifetime, "%s.%d.%s: user %u ends the silence of %s", user,
                describe(silence->target).c_str());
    Members ended = describe(id, *silence);
    ended[members::reason] = std::string(host::endedReason);
    ended[members::endedBy] = user;
    finish(*silence, ended);
    settle();
    reply(call);
}

void SilenceRequests::list(sdbusplus::message_t& call)
{
    std::vector<Members> all;
    for (const auto& [id, silence] : silences.withPresentEnds())
    {
        all.push_back(describe(id, silence));
    }
    reply(call, all);
}

/** Ends the silences whose time has come, and looks after the others. */
void SilenceRequests::look()
{
    for (const auto& [id, silence] : silences.endExpired())
    {
        SERVICE_LOG(log::lifetime, "%s.%d.%s: the silence of %s is over",
                    describe(silence.target).c_str());
        Members ended = describe(id, silence);
        ended[members::reason] = std::string(host::expiredReason);
        finish(silence, ended);
    }
    faults.check();
    settle();
}

/** Announces the end of a silence, and only then shows the faults: whoever
 *  hears of them knows why. */
void SilenceRequests::finish(const Silence& silence, const Members& ended)
{
    announce(interface, host::silenceEndedSignal, ended);
    faults.show(silence.target);
}

/** Writes the file and sets the time of the next look, after any change. */
void SilenceRequests::settle()
{
    saving.insist();
    if (const auto next = silences.untilNext())
    {
        services::EventLoop::after(looking,
                                   std::min(*next, silenceCheckPeriod));
    }
}

} // namespace healthintf::healthmgr
