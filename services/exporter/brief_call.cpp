// SPDX-License-Identifier: Apache-2.0
#include "brief_call.hpp"

#include <cerrno>

namespace healthintf::exporter
{
namespace
{

MessagePtr makeCall(sd_bus* bus, const BriefCall::Method& method)
{
    sd_bus_message* raw = nullptr;
    sd_bus_message_new_method_call(bus, &raw, method.service, method.path,
                                   method.interface, method.member);
    MessagePtr call(raw);
    if (call == nullptr || sd_bus_message_set_auto_start(raw, 0) < 0 ||
        (method.argument != nullptr &&
         sd_bus_message_append(raw, "s", method.argument) < 0))
    {
        return nullptr;
    }
    return call;
}

} // namespace

MessagePtr BriefCall::make(sd_bus* bus)
{
    using Clock = std::chrono::steady_clock;
    const MessagePtr call = bus == nullptr || Clock::now() < silentUntil
                                ? nullptr
                                : makeCall(bus, method);
    if (call == nullptr)
    {
        return nullptr;
    }
    sd_bus_message* raw = nullptr;
    const int result = sd_bus_call(
        bus, call.get(),
        std::chrono::duration_cast<std::chrono::microseconds>(patience).count(),
        nullptr, &raw);
    MessagePtr reply(raw);
    if (result == -ETIMEDOUT)
    {
        silentUntil = Clock::now() + pause;
    }
    return reply;
}

} // namespace healthintf::exporter
