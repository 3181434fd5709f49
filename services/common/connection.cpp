// SPDX-License-Identifier: Apache-2.0
#include "connection.hpp"

#include "service_log.hpp"

#include <platform/signal_blocker.hpp>

#include <cerrno>
#include <cstdlib>
#include <exception>
#include <system_error>
#include <utility>

namespace healthintf::services
{
namespace
{

void check(int result, const char* call)
{
    if (result < 0)
    {
        throw std::system_error(-result, std::generic_category(), call);
    }
}

sd_bus* openDefault()
{
    sd_bus* bus = nullptr;
    check(sd_bus_default(&bus), "unable to connect to the bus");
    return bus;
}

/** Waits until the bus has greeted the connection and given it a name.
 *  sdbusplus asks for the name, too, but its error does not say why there is
 *  none. A bus that hangs greets late or never, so a signal that ends the
 *  process must be able to come meanwhile. */
sd_bus* awaitName(sd_bus* bus)
{
    while (sd_bus_is_ready(bus) == 0)
    {
        int result = sd_bus_process(bus, nullptr);
        if (result == 0)
        {
            result = sd_bus_wait(bus, UINT64_MAX);
        }
        if (result != -EINTR)
        {
            check(result, "unable to connect to the bus");
        }
    }
    return bus;
}

constexpr const char* peerInterface = "org.freedesktop.DBus.Peer";
constexpr const char* driver = "org.freedesktop.DBus";
constexpr const char* driverPath = "/org/freedesktop/DBus";

} // namespace

Connection::Connection(EventLoop& loop) :
    raw(openDefault()), connection(awaitName(raw.get())),
    name(connection.get_unique_name()), loss(raw.get(), [&loop] {
        loop.exit(EXIT_FAILURE);
    })
{
    const SignalBlocker blocker;
    // Replies can get lost: a bus drops them when its queue for this service is
    // full.
    constexpr uint64_t longestWait = 5'000'000;
    check(sd_bus_set_method_call_timeout(raw.get(), longestWait),
          "sd_bus_set_method_call_timeout");
    check(sd_bus_attach_event(raw.get(), loop.get(), SD_EVENT_PRIORITY_NORMAL),
          "sd_bus_attach_event");
}

Connection::~Connection()
{
    sd_bus_detach_event(raw.get());
}

void Connection::requestName(const char* wanted)
{
    const SignalBlocker blocker;
    const int result = sd_bus_request_name(raw.get(), wanted, 0);
    if (result == -ETIMEDOUT)
    {
        // The bus may still grant it, and would refuse the next request then.
        releaseName(wanted);
    }
    check(result, wanted);
}

void Connection::releaseName(const char* owned) noexcept
{
    const auto ignore = [](sd_bus_message*, void*, sd_bus_error*) {
        return 0;
    };
    // A bus that hangs would keep the caller waiting for its reply. The call
    // fails only without a connection, and then the bus has taken the name.
    static_cast<void>(
        sd_bus_release_name_async(raw.get(), nullptr, owned, ignore, nullptr));
}

void Connection::call(const char* peer, const char* path, const char* interface,
                      const char* method,
                      std::function<void(sd_bus_message*)> onReply,
                      const char* argument, uint64_t longestWait)
{
    sd_bus_message* made = nullptr;
    check(sd_bus_message_new_method_call(raw.get(), &made, peer, path,
                                         interface, method),
          "sd_bus_message_new_method_call");
    const MessagePtr message(made);
    if (argument != nullptr)
    {
        check(sd_bus_message_append(made, "s", argument),
              "sd_bus_message_append");
    }
    PendingCall& pending = pendingCalls.emplace_back(
        PendingCall{this, std::move(onReply), nullptr});
    sd_bus_slot* slot = nullptr;
    const int result = sd_bus_call_async(raw.get(), &slot, made, takeReply,
                                         &pending, longestWait);
    pending.slot.reset(slot);
    if (result < 0)
    {
        pendingCalls.pop_back();
        check(result, "sd_bus_call_async");
    }
}

void Connection::awaitWork(const std::string& peer,
                           std::function<void()> onReply)
{
    // The process replies when it is back in its event loop; if it is gone, the
    // bus replies with an error.
    call(peer.c_str(), "/", peerInterface, "Ping",
         [onReply = std::move(onReply)](sd_bus_message*) {
             onReply();
         });
}

void Connection::afterBus(std::function<void()> onReply)
{
    // NOLINTNEXTLINE(readability-suspicious-call-argument): in this order
    call(driver, driverPath, peerInterface, "Ping",
         [onReply = std::move(onReply)](sd_bus_message*) {
             onReply();
         });
}

void Connection::findUser(const std::string& peer,
                          std::function<void(std::optional<uint32_t>)> onReply)
{
    call(
        driver, driverPath, driver, "GetConnectionUnixUser",
        [onReply = std::move(onReply)](sd_bus_message* reply) {
            uint32_t user = 0;
            const bool known =
                sd_bus_message_is_method_error(reply, nullptr) == 0 &&
                sd_bus_message_read(reply, "u", &user) > 0;
            onReply(known ? std::optional(user) : std::nullopt);
        },
        peer.c_str());
}

void Connection::listNames(
    std::function<void(const std::vector<std::string>&)> onReply)
{
    // NOLINTNEXTLINE(readability-suspicious-call-argument): in this order
    call(driver, driverPath, driver, "ListNames",
         [onReply = std::move(onReply)](sd_bus_message* reply) {
             std::vector<std::string> names;
             if (sd_bus_message_is_method_error(reply, nullptr) == 0 &&
                 sd_bus_message_enter_container(reply, 'a', "s") > 0)
             {
                 const char* each = nullptr;
                 while (sd_bus_message_read_basic(
                            reply, 's', static_cast<void*>(&each)) > 0)
                 {
                     names.emplace_back(each);
                 }
             }
             onReply(names);
         });
}

void Connection::listObjects(const std::string& peer, const char* path,
                             std::function<void(sd_bus_message*)> onReply)
{
    call(peer.c_str(), path, "org.freedesktop.DBus.ObjectManager",
         "GetManagedObjects", std::move(onReply), nullptr, UINT64_MAX);
}

int Connection::takeReply(sd_bus_message* message, void* context,
                          sd_bus_error* /*error*/)
{
    auto* pending = static_cast<PendingCall*>(context);
    const auto onReply = std::move(pending->onReply);
    pending->connection->pendingCalls.remove_if(
        [pending](const PendingCall& each) {
            return &each == pending;
        });
    try
    {
        onReply(message);
    }
    catch (const std::exception& e)
    {
        SERVICE_LOG(log::warning, "EXCEPTION %s.%d.%s: %s", e.what());
    }
    return 0;
}

void Connection::flush()
{
    const SignalBlocker blocker;
    check(sd_bus_flush(raw.get()), "sd_bus_flush");
}

} // namespace healthintf::services
