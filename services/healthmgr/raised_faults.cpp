// SPDX-License-Identifier: Apache-2.0
#include "raised_faults.hpp"

#include "../common/service_log.hpp"
#include "data_cache/withdrawal.hpp"
#include "healthmgr/protocol.hpp"
#include "healthmgr/raised_fault_protocol.hpp"
#include "message_registry/known_message.hpp"
#include "node_key.hpp"
#include "user_calls.hpp"

#include <hmi_status.hpp>

#include <algorithm>
#include <utility>

namespace healthintf::healthmgr
{

namespace fs = std::filesystem;
namespace log = services::log;

using health_namespace::FaultAndHealth;

namespace
{

/** How long to wait before a fault that could not be made is tried again. Each
 *  failure has its log lines. */
constexpr services::GrowingPause untilMade{std::chrono::seconds(1),
                                           std::chrono::minutes(10)};

bool addTo(FaultAndHealth& node, const RaisedFault& fault)
{
    std::string message = fault.message;
    std::string sensor = fault.sensorPath;
    std::vector<std::string> arguments = fault.arguments;
    std::string fqdd = fault.trial ? host::trialFqdd : "";
    std::string subSystem;
    return node.addFault(message, sensor, arguments, fqdd, subSystem,
                         fault.sensorNumber, 0) == health_namespace::statusOk;
}

void removeFrom(FaultAndHealth& node, const RaisedFault& fault)
{
    std::string message = fault.message;
    std::string sensor = fault.sensorPath;
    node.removeFault(message, sensor);
}

[[noreturn]] void refuse(const std::string& cause)
{
    throw RefusedCall(host::invalidError, cause);
}

/** @throws RefusedCall unless the registries have the message, and it makes a
 *          fault of these arguments */
void requireMessage(const RaisedFault& fault)
{
    const auto message = host::findMessage(fault.message);
    if (!message)
    {
        refuse("no registry has the message " + fault.message);
    }
    if (message->severity == host::MessageSeverity::ok)
    {
        refuse("the message " + fault.message +
               " only informs, and makes no fault");
    }
    if (message->arguments != fault.arguments.size())
    {
        refuse("the message " + fault.message + " takes " +
               std::to_string(message->arguments) +
               (message->arguments == 1 ? " argument" : " arguments") +
               ", and not " + std::to_string(fault.arguments.size()));
    }
}

/** @throws RefusedCall for texts that are empty or too long */
void requireTexts(const RaisedFault& fault)
{
    std::size_t bytes = fault.message.size() + fault.sensorPath.size();
    for (const std::string& argument : fault.arguments)
    {
        if (argument.empty())
        {
            refuse("an argument is empty");
        }
        bytes += argument.size();
    }
    if (bytes > RaisedFaults::mostText)
    {
        refuse("the texts have " + std::to_string(bytes) +
               " bytes together, more than " +
               std::to_string(RaisedFaults::mostText));
    }
}

/** @throws RefusedCall when another process holds the component: a second
 *          holder would take it away */
void requireFree(const std::string& key)
{
    const auto record = host::findHealthRecord(key);
    if (record && !(record->owner == host::ProcessIdentity::self()))
    {
        throw RefusedCall(host::componentHeldError,
                          "process " + std::to_string(record->owner.pid) +
                              " holds the component; raise the fault on one "
                              "below it, such as " +
                              key + "/trial");
    }
}

} // namespace

RaisedFaults::RaisedFaults(services::EventLoop& loop, HostedNodes& nodes,
                           fs::path path) :
    nodes(nodes),
    file(std::move(path), "the raised faults"),
    faults(file.read(parseRaisedFaults)),
    saving(loop,
           [this] {
               return file.save([this] {
                   return formatRaisedFaults(faults);
               });
           }),
    timer(loop.onceLater([this] {
        endExpired();
    })),
    making(
        loop,
        [this] {
            return makeUnmade();
        },
        untilMade)
{
    std::erase_if(faults, [](const auto& each) {
        return !explainInvalidKey(each.first).empty();
    });
    // Before any node is made for them: what is over is not announced anew.
    endExpired();
    nodes.holdFor(this);
}

RaisedFaults::~RaisedFaults()
{
    nodes.holdFor(nullptr);
}

std::chrono::seconds RaisedFaults::now()
{
    return std::chrono::duration_cast<std::chrono::seconds>(
        std::chrono::steady_clock::now().time_since_epoch());
}

void RaisedFaults::raise(const std::string& key, const RaisedFault& fault)
{
    if (const std::string cause = explainInvalidKey(key); !cause.empty())
    {
        refuse("this is no key: " + cause);
    }
    requireTexts(fault);
    requireMessage(fault);
    requireFree(key);
    requireRoom(key, fault);
    if (!place(key, fault))
    {
        throw RefusedCall(SD_BUS_ERROR_FAILED,
                          "unable to make the fault, see the log");
    }
    SERVICE_LOG(log::lifetime, "%s.%d.%s: the fault %s of %s was raised",
                fault.message.c_str(), key.c_str());
    save();
    setTimer();
}

RaisedFault* RaisedFaults::find(const std::string& key, const RaisedFault& like)
{
    const auto component = faults.find(key);
    if (component == faults.end())
    {
        return nullptr;
    }
    const auto found =
        std::ranges::find_if(component->second, [&](const RaisedFault& each) {
            return identify(each) == identify(like);
        });
    return found == component->second.end() ? nullptr : &*found;
}

/** @throws RefusedCall when one more would be too many */
void RaisedFaults::requireRoom(const std::string& key,
                               const RaisedFault& fault) const
{
    std::size_t all = 0;
    std::size_t ofComponent = 0;
    for (const auto& [component, raised] : faults)
    {
        for (const RaisedFault& each : raised)
        {
            const bool here = component == key;
            if (here && identify(each) == identify(fault))
            {
                return;
            }
            ++all;
            ofComponent += here ? 1 : 0;
        }
    }
    if (all >= most || ofComponent >= mostOfOneComponent)
    {
        throw RefusedCall(host::tooManyError,
                          "there are as many raised faults as there may be, " +
                              std::to_string(most) + " or " +
                              std::to_string(mostOfOneComponent) +
                              " of one component; clear some");
    }
}

/** Puts a fault on its component's node.
 *
 *  @return whether it is there; if not, nothing has changed */
bool RaisedFaults::place(const std::string& key, const RaisedFault& fault)
{
    if (nodes.host(key) != HostedNodes::Outcome::there)
    {
        return false;
    }
    FaultAndHealth* node = nodes.find(key);
    if (node == nullptr)
    {
        return false;
    }
    RaisedFault* old = find(key, fault);
    RaisedFault same = fault;
    if (old != nullptr)
    {
        // What goes on has no new entry.
        same.end = old->end;
        if (*old == same && !isUnmade(key, *old))
        {
            old->end = fault.end;
            return true;
        }
        if (!isUnmade(key, *old))
        {
            removeFrom(*node, *old);
        }
    }
    if (!addTo(*node, fault))
    {
        if (old != nullptr)
        {
            addOrRetry(key, *node, *old);
        }
        else if (!has(key))
        {
            nodes.releaseUnneeded(key);
        }
        return false;
    }
    forgetUnmade(key, fault);
    if (old != nullptr)
    {
        *old = fault;
    }
    else
    {
        faults[key].push_back(fault);
    }
    return true;
}

std::size_t RaisedFaults::clear(const std::string& key,
                                const std::string& message)
{
    return end([&](const std::string& component, const RaisedFault& fault) {
        return (key.empty() || component == key) &&
               (message.empty() || fault.message == message);
    });
}

/** Ends faults.
 *
 *  @return how many */
std::size_t RaisedFaults::end(const Test& ends)
{
    std::size_t ended = 0;
    for (const std::string& key : components())
    {
        ended += endOf(key, ends);
    }
    if (ended > 0)
    {
        save();
    }
    setTimer();
    return ended;
}

/** The same of one component. */
std::size_t RaisedFaults::endOf(const std::string& key, const Test& ends)
{
    std::vector<RaisedFault>& raised = faults.at(key);
    FaultAndHealth* node = nodes.find(key);
    const auto going = std::stable_partition(raised.begin(), raised.end(),
                                             [&](const RaisedFault& fault) {
                                                 return !ends(key, fault);
                                             });
    for (auto each = going; each != raised.end(); ++each)
    {
        if (node != nullptr && !isUnmade(key, *each))
        {
            removeFrom(*node, *each);
        }
        forgetUnmade(key, *each);
        SERVICE_LOG(log::lifetime,
                    "%s.%d.%s: the raised fault %s of %s has ended",
                    each->message.c_str(), key.c_str());
    }
    const auto count = static_cast<std::size_t>(raised.end() - going);
    raised.erase(going, raised.end());
    if (raised.empty())
    {
        faults.erase(key);
        nodes.releaseUnneeded(key);
    }
    return count;
}

void RaisedFaults::endExpired()
{
    end([time = now()](const std::string& /*key*/, const RaisedFault& fault) {
        return fault.end && *fault.end <= time;
    });
}

std::vector<std::string> RaisedFaults::components() const
{
    std::vector<std::string> keys;
    for (const auto& [key, raised] : faults)
    {
        keys.push_back(key);
    }
    return keys;
}

bool RaisedFaults::has(const std::string& key) const
{
    return faults.contains(key);
}

void RaisedFaults::report(const std::string& key, FaultAndHealth& node)
{
    unmade.erase(key);
    const auto component = faults.find(key);
    if (component == faults.end())
    {
        return;
    }
    for (const RaisedFault& fault : component->second)
    {
        addOrRetry(key, node, fault);
    }
}

/** Puts a fault on a node that has had it; later if that fails now. */
void RaisedFaults::addOrRetry(const std::string& key, FaultAndHealth& node,
                              const RaisedFault& fault)
{
    if (addTo(node, fault))
    {
        forgetUnmade(key, fault);
        return;
    }
    if (unmade[key].insert(identify(fault)).second)
    {
        SERVICE_LOG(log::error,
                    "%s.%d.%s: unable to make the raised fault %s of %s anew; "
                    "it is tried again",
                    fault.message.c_str(), key.c_str());
    }
    making.fail();
}

bool RaisedFaults::isUnmade(const std::string& key,
                            const RaisedFault& fault) const
{
    const auto component = unmade.find(key);
    return component != unmade.end() &&
           component->second.contains(identify(fault));
}

void RaisedFaults::forgetUnmade(const std::string& key,
                                const RaisedFault& fault)
{
    const auto component = unmade.find(key);
    if (component != unmade.end() &&
        component->second.erase(identify(fault)) > 0 &&
        component->second.empty())
    {
        unmade.erase(component);
    }
}

/** Tries again to make the faults that could not be made anew.
 *
 *  @return whether all are there */
bool RaisedFaults::makeUnmade()
{
    for (const auto& [key, raised] : faults)
    {
        // Without a node, they wait for the next one.
        FaultAndHealth* node = nodes.find(key);
        for (const RaisedFault& fault : raised)
        {
            if (node != nullptr && isUnmade(key, fault) && addTo(*node, fault))
            {
                forgetUnmade(key, fault);
            }
        }
    }
    return unmade.empty();
}

bool RaisedFaults::giveUp(const std::string& key)
{
    if (faults.erase(key) == 0)
    {
        return false;
    }
    unmade.erase(key);
    SERVICE_LOG(log::warning,
                "%s.%d.%s: a process holds %s now: the raised faults of it "
                "have ended",
                key.c_str());
    save();
    setTimer();
    return true;
}

void RaisedFaults::save()
{
    file.noteChange();
    saving.insist();
}

/** Lets the loop wake up when the next fault ends. */
void RaisedFaults::setTimer()
{
    std::optional<std::chrono::seconds> next;
    for (const auto& [key, raised] : faults)
    {
        for (const RaisedFault& fault : raised)
        {
            if (fault.end && (!next || *fault.end < *next))
            {
                next = fault.end;
            }
        }
    }
    if (next)
    {
        constexpr std::chrono::seconds none(0);
        services::EventLoop::after(timer, std::max(*next - now(), none));
    }
}

} // namespace healthintf::healthmgr
