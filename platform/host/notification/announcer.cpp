// SPDX-License-Identifier: Apache-2.0
#include "announcer.hpp"

#include "../bus_calls.hpp"
#include "protocol.hpp"

namespace healthintf::host
{

void announce(const std::string& name, const std::vector<uint8_t>& record)
{
    const BusPtr bus = openDefaultBus();
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
}

} // namespace healthintf::host
