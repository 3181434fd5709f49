// SPDX-License-Identifier: Apache-2.0
#include "list_question.hpp"

#include "healthmgr/protocol.hpp"

namespace healthintf::exporter
{

ListQuestion::ListQuestion(const char* interface, const char* member) :
    call({.service = host::healthmgrService,
          .path = host::healthmgrPath,
          .interface = interface,
          .member = member})
{}

std::optional<uint64_t> ListQuestion::ask(sd_bus* bus)
{
    const MessagePtr answer = call.make(bus);
    if (answer == nullptr ||
        sd_bus_message_enter_container(answer.get(), 'a', "a{sv}") <= 0)
    {
        return std::nullopt;
    }
    uint64_t length = 0;
    int end = 0;
    while ((end = sd_bus_message_at_end(answer.get(), 0)) == 0)
    {
        if (sd_bus_message_skip(answer.get(), "a{sv}") < 0)
        {
            return std::nullopt;
        }
        ++length;
    }
    return end < 0 ? std::nullopt : std::optional(length);
}

} // namespace healthintf::exporter
