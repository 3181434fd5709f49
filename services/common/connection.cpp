#include "connection.hpp"

#include "service_log.hpp"

#include <platform/signal_blocker.hpp>

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

/** A connection that the bus has given a name. sdbusplus asks for the name,
 * too, but does not say why there is none. */
sd_bus* named(sd_bus* bus)
{
    const SignalBlocker blocker;
    const char* unique = nullptr;
    check(sd_bus_get_unique_name(bus, &unique), "unable to connect to the bus");
    return bus;
}

constexpr const char* peerInterface = "org.freedesktop.DBus.Peer";
constexpr const char* driver = "org.freedesktop.DBus";
constexpr const char* driverPath = "/org/freedesktop/DBus";

} // namespace

Connection::Connection(EventLoop& loop) :
    raw(openDefault()), connection(named(raw.get())),
    name(connection.get_unique_name()), loss(raw.get(), [&loop] {
        loop.exit(EXIT_FAILURE);
    })
{
    const SignalBlocker blocker;
    // A bus whose queue for this service is full drops answers, too.
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
    check(sd_bus_request_name(raw.get(), wanted, 0), wanted);
}

void Connection::ask(const char* peer, const char* path, const char* interface,
                     const char* method,
                     std::function<void(sd_bus_message*)> answered,
                     const char* argument)
{
    Question& question =
        questions.emplace_back(Question{this, std::move(answered), nullptr});
    sd_bus_slot* slot = nullptr;
    const int result = sd_bus_call_method_async(
        raw.get(), &slot, peer, path, interface, method, takeAnswer, &question,
        argument == nullptr ? "" : "s", argument);
    question.slot.reset(slot);
    if (result < 0)
    {
        questions.pop_back();
        check(result, "sd_bus_call_method_async");
    }
}

void Connection::afterWorkOf(const std::string& peer,
                             std::function<void()> answered)
{
    // A process answers when it is back in its loop, and the bus when the
    // process is gone.
    ask(peer.c_str(), "/", peerInterface, "Ping",
        [answered = std::move(answered)](sd_bus_message*) {
            answered();
        });
}

void Connection::afterBus(std::function<void()> answered)
{
    // NOLINTNEXTLINE(readability-suspicious-call-argument): in this order
    ask(driver, driverPath, peerInterface, "Ping",
        [answered = std::move(answered)](sd_bus_message*) {
            answered();
        });
}

void Connection::userOf(const std::string& peer,
                        std::function<void(std::optional<uint32_t>)> answered)
{
    ask(
        driver, driverPath, driver, "GetConnectionUnixUser",
        [answered = std::move(answered)](sd_bus_message* reply) {
            uint32_t user = 0;
            const bool known =
                sd_bus_message_is_method_error(reply, nullptr) == 0 &&
                sd_bus_message_read(reply, "u", &user) > 0;
            answered(known ? std::optional(user) : std::nullopt);
        },
        peer.c_str());
}

int Connection::takeAnswer(sd_bus_message* message, void* context,
                           sd_bus_error* /*error*/)
{
    auto* question = static_cast<Question*>(context);
    const auto answered = std::move(question->answered);
    question->connection->questions.remove_if([question](const Question& each) {
        return &each == question;
    });
    try
    {
        answered(message);
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
