#include "announcer.hpp"

#include "protocol.hpp"

#include <platform/held_signals.hpp>

namespace healthintf::host
{
namespace
{

constexpr uint64_t patience = 5'000'000;

/** Waits until the bus has worked on all that was sent before. A system bus
 *  lets everybody ask for its identity, and not everybody Ping it. */
void waitForBus(sd_bus* bus)
{
    sd_bus_message* raw = nullptr;
    checkBus("sd_bus_message_new_method_call",
             sd_bus_message_new_method_call(bus, &raw, "org.freedesktop.DBus",
                                            "/org/freedesktop/DBus",
                                            "org.freedesktop.DBus", "GetId"));
    const MessagePtr question(raw);
    const HeldSignals held;
    checkBus("no answer of the bus",
             sd_bus_call(bus, question.get(), patience, nullptr, nullptr));
}

} // namespace

Announcer::Announcer() : bus(openDefaultBus())
{
    const char* unique = nullptr;
    const HeldSignals held;
    checkBus("unable to connect to the bus",
             sd_bus_get_unique_name(bus.get(), &unique));
}

void Announcer::announce(const std::string& name,
                         const std::vector<uint8_t>& record) const
{
    sd_bus_message* raw = nullptr;
    checkBus("sd_bus_message_new_signal",
             sd_bus_message_new_signal(bus.get(), &raw, notificationPath,
                                       notificationInterface,
                                       notificationMember));
    const MessagePtr signal(raw);
    checkBus("sd_bus_message_append",
             sd_bus_message_append_basic(raw, 's', name.c_str()));
    checkBus(
        "sd_bus_message_append_array",
        sd_bus_message_append_array(raw, 'y', record.data(), record.size()));
    checkBus("sd_bus_send", sd_bus_send(bus.get(), raw, nullptr));
    waitForBus(bus.get());
}

} // namespace healthintf::host
