// SPDX-License-Identifier: Apache-2.0
#include "stranger.hpp"

#include "message_body.hpp"

#include <poll.h>

#include <array>
#include <stdexcept>
#include <utility>

namespace healthintf::test
{

namespace
{

/** How long a victim may take to process what it was sent. */
constexpr int patienceMs = 10'000;

MessagePtr messageFor(sd_bus* bus, const std::string& receiver,
                      const KnownMessage& known)
{
    sd_bus_message* message = nullptr;
    orThrow(known.type == SD_BUS_MESSAGE_SIGNAL
                ? sd_bus_message_new_signal(bus, &message, known.path.c_str(),
                                            known.interface, known.member)
                : sd_bus_message_new_method_call(
                      bus, &message, receiver.c_str(), known.path.c_str(),
                      known.interface, known.member),
            "message");
    return MessagePtr(message);
}

} // namespace

Stranger::Stranger(sdbusplus::bus_t& victim, std::function<void()> work) :
    victim(victim), name(victim.get_unique_name()), work(std::move(work))
{
    sd_bus* opened = nullptr;
    orThrow(sd_bus_open(&opened), "no bus");
    bus.reset(opened);
}

void Stranger::send(const std::vector<KnownMessage>& known, FuzzInput& input)
{
    const auto& chosen = known.at(input.below(known.size()));
    const std::string signature =
        input.below(4) == 3 ? makeSignature(input) : chosen.signature;
    const auto message = messageFor(bus.get(), name, chosen);
    appendValues(message.get(), signature, input);
    orThrow(sd_bus_send(bus.get(), message.get(), nullptr), "sd_bus_send");
}

void Stranger::sendRecord(const KnownMessage& signal, const std::string& text,
                          const std::vector<uint8_t>& record)
{
    const auto message = messageFor(bus.get(), name, signal);
    orThrow(sd_bus_message_append(message.get(), "s", text.c_str()), "text");
    orThrow(sd_bus_message_append_array(message.get(), 'y', record.data(),
                                        record.size()),
            "record");
    orThrow(sd_bus_send(bus.get(), message.get(), nullptr), "sd_bus_send");
}

void Stranger::own(const char* wanted)
{
    orThrow(sd_bus_request_name(bus.get(), wanted, 0), "no name");
}

void Stranger::release(const char* owned)
{
    orThrow(sd_bus_release_name(bus.get(), owned), "name kept");
}

void Stranger::settle()
{
    // Bus and victim keep the order of messages, so the reply comes last.
    bool answered = false;
    orThrow(sd_bus_call_method_async(
                bus.get(), nullptr, name.c_str(), "/",
                "org.freedesktop.DBus.Peer", "Ping",
                [](sd_bus_message* /*reply*/, void* context,
                   sd_bus_error* /*error*/) {
                    *static_cast<bool*>(context) = true;
                    return 0;
                },
                &answered, ""),
            "ping");
    while (!answered)
    {
        take();
        work();
        if (!answered)
        {
            wait();
        }
    }
}

void Stranger::take() const
{
    while (sd_bus_process(bus.get(), nullptr) > 0)
    {}
}

void Stranger::wait() const
{
    sd_bus_flush(bus.get());
    std::array<pollfd, 2> both{
        pollfd{sd_bus_get_fd(bus.get()), POLLIN, 0},
        pollfd{victim.get_fd(), POLLIN, 0},
    };
    if (poll(both.data(), both.size(), patienceMs) == 0)
    {
        throw std::runtime_error("the victim does not answer");
    }
}

} // namespace healthintf::test
