// SPDX-License-Identifier: Apache-2.0
#include "acknowledgement_requests.hpp"

#include "../common/service_log.hpp"
#include "comment.hpp"
#include "healthmgr/protocol.hpp"

#include <com/vexa/olvar/healthmgr/FaultEntry/common.hpp>

#include <sdbusplus/vtable.hpp>

#include <array>
#include <chrono>
#include <ctime>
#include <system_error>
#include <vector>

namespace healthintf::healthmgr
{

namespace log = services::log;
namespace members = host::members;
namespace vtable = sdbusplus::vtable;
using Entry = sdbusplus::common::com::vexa::olvar::healthmgr::FaultEntry;

namespace
{

/** While there are acknowledgements, how often to look whether their faults are
 *  gone without any event. */
constexpr std::chrono::seconds acknowledgementCheckPeriod{10};

/** How long after an event: a fault that is announced to be removed is still
 *  there. */
constexpr std::chrono::milliseconds afterEvent{100};

std::string removalRule()
{
    return std::string("type='signal',interface='") + Entry::interface +
           "',member='" + Entry::FaultEntryRemoved::name + "'";
}

/** Matches the signal about names that have lost their owner. */
constexpr const char* endOfNameRule =
    "type='signal',sender='org.freedesktop.DBus',member='NameOwnerChanged',"
    "arg2=''";

Members describe(const std::string& path,
                 const Acknowledgement& acknowledgement)
{
    return {{members::fault, path},
            {members::messageId, acknowledgement.fault.messageId},
            {members::comment, acknowledgement.comment},
            {members::user, acknowledgement.user},
            {members::time, acknowledgement.time}};
}

} // namespace

template <auto Member>
int AcknowledgementRequests::handle(sd_bus_message* message, void* context,
                                    sd_bus_error* error)
{
    return perform(message, error, [context](sdbusplus::message_t& call) {
        (static_cast<AcknowledgementRequests*>(context)->*Member)(call);
    });
}

template <auto Member>
int AcknowledgementRequests::handleForUser(sd_bus_message* message,
                                           void* context, sd_bus_error* error)
{
    auto* requests = static_cast<AcknowledgementRequests*>(context);
    return performForUser(
        message, error, requests->users,
        [requests](sdbusplus::message_t& call, uint32_t user) {
            (requests->*Member)(call, user);
        });
}

const sd_bus_vtable* AcknowledgementRequests::table()
{
    // The policy of the bus decides who may call which method.
    constexpr auto everybody = vtable::common_::unprivileged;
    static constexpr std::array table{
        vtable::start(),
        vtable::method(host::acknowledgeMethod, "ss", "",
                       handleForUser<&AcknowledgementRequests::acknowledge>,
                       everybody),
        vtable::method(host::withdrawMethod, "s", "",
                       handleForUser<&AcknowledgementRequests::withdraw>,
                       everybody),
        vtable::method(host::listAcknowledgementsMethod, "", "aa{sv}",
                       handle<&AcknowledgementRequests::list>, everybody),
        vtable::signal(host::acknowledgedSignal, "a{sv}"),
        vtable::signal(host::withdrawnSignal, "a{sv}"),
        vtable::end(),
    };
    return table.data();
}

AcknowledgementRequests::AcknowledgementRequests(
    services::Connection& connection, services::EventLoop& loop,
    PeerUsers& users, Acknowledgements& acknowledgements) :
    connection(connection),
    users(users), acknowledgements(acknowledgements),
    interface(connection.bus(), host::healthmgrPath,
              host::acknowledgementsInterface, table(), this),
    saving(loop,
           [this] {
               return this->acknowledgements.save();
           }),
    looking(loop.onceLater([this] {
        looksSoon = false;
        removeGone();
    }))
{
    // Faults may have gone while no healthmgr ran.
    lookSoon();
}

void AcknowledgementRequests::acknowledge(sdbusplus::message_t& call,
                                          uint32_t user)
{
    std::string path;
    std::string comment;
    call.read(path, comment);
    if (const std::string fault = explainInvalidComment(comment);
        !fault.empty())
    {
        throw RefusedCall(host::invalidError, fault);
    }
    // They make room.
    removeGone();
    const auto outcome =
        isEntryPath(path)
            ? acknowledgements.add(path, comment, user, std::time(nullptr))
            : Acknowledgements::Outcome::noFault;
    if (outcome == Acknowledgements::Outcome::noFault)
    {
        throw RefusedCall(host::noFaultError, "there is no such fault");
    }
    if (outcome == Acknowledgements::Outcome::tooMany)
    {
        throw RefusedCall(host::tooManyError,
                          "there are as many acknowledgements as may be: " +
                              std::to_string(Acknowledgements::mostOfOneUser) +
                              " of one user, " +
                              std::to_string(Acknowledgements::most) +
                              " in all");
    }
    SERVICE_LOG(log::lifetime, "%s.%d.%s: user %u acknowledges %s", user,
                path.c_str());
    settle();
    announce(interface, host::acknowledgedSignal,
             describe(path, acknowledgements.all().at(path)));
    reply(call);
}

void AcknowledgementRequests::withdraw(sdbusplus::message_t& call,
                                       uint32_t user)
{
    std::string path;
    call.read(path);
    removeGone();
    const auto removed = acknowledgements.remove(path);
    if (!removed)
    {
        throw RefusedCall(host::notAcknowledgedError,
                          "the fault is not acknowledged");
    }
    SERVICE_LOG(log::lifetime,
                "%s.%d.%s: user %u withdraws the acknowledgement of %s", user,
                path.c_str());
    settle();
    Members withdrawn = describe(path, *removed);
    withdrawn[members::reason] = std::string(host::withdrawnReason);
    withdrawn[members::withdrawnBy] = user;
    announce(interface, host::withdrawnSignal, withdrawn);
    reply(call);
}

void AcknowledgementRequests::list(sdbusplus::message_t& call)
{
    removeGone();
    std::vector<Members> all;
    for (const auto& [path, acknowledgement] : acknowledgements.all())
    {
        all.push_back(describe(path, acknowledgement));
    }
    reply(call, all);
}

void AcknowledgementRequests::removeGone()
{
    for (const auto& [path, acknowledgement] : acknowledgements.removeGone())
    {
        Members gone = describe(path, acknowledgement);
        gone[members::reason] = std::string(host::goneReason);
        announce(interface, host::withdrawnSignal, gone);
    }
    settle();
}

/** Writes the file and sets the time of the next look, after any change. */
void AcknowledgementRequests::settle()
{
    saving.insist();
    listen();
    if (!acknowledgements.all().empty() && !looksSoon)
    {
        services::EventLoop::after(looking, acknowledgementCheckPeriod);
    }
}

/** Subscribes to what may tell that a fault is gone. Without a subscription,
 *  that is seen at the next look. */
void AcknowledgementRequests::listen()
{
    if (acknowledgements.all().empty())
    {
        removals.reset();
        nameLosses.reset();
        return;
    }
    if (nameLosses)
    {
        return;
    }
    const auto look = [this](auto&) {
        lookSoon();
    };
    try
    {
        removals.emplace(connection.get(), removalRule(), look);
        nameLosses.emplace(connection.get(), endOfNameRule, look);
    }
    catch (const std::system_error& e)
    {
        SERVICE_LOG(log::error,
                    "%s.%d.%s: unable to hear of the ends of faults: %s; "
                    "acknowledgements are withdrawn seconds later",
                    e.what());
    }
}

/** Looks once for any number of events. */
void AcknowledgementRequests::lookSoon()
{
    if (!looksSoon)
    {
        looksSoon = true;
        services::EventLoop::after(looking, afterEvent);
    }
}

} // namespace healthintf::healthmgr
