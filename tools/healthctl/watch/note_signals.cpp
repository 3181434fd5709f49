// SPDX-License-Identifier: Apache-2.0
#include "note_signals.hpp"

#include <healthmgr/protocol.hpp>
#include <sdbusplus/exception.hpp>
#include <sdbusplus/message.hpp>

#include <utility>

#include <bus_calls.hpp>

namespace healthintf::healthctl
{

template <Change::Kind kind>
void NoteSignals::match(sd_bus* bus, const char* interface, const char* signal)
{
    sd_bus_slot* slot = nullptr;
    host::checkBus(
        "unable to listen to the bus",
        sd_bus_match_signal(
            bus, &slot, host::healthmgrService, host::healthmgrPath, interface,
            signal,
            [](sd_bus_message* message, void* context, sd_bus_error*) {
                auto* signals = static_cast<NoteSignals*>(context);
                signals->loop.perform([&] {
                    host::Members told;
                    try
                    {
                        sdbusplus::message_t(message).read(told);
                    }
                    catch (const sdbusplus::exception_t&)
                    {
                        // Of a healthmgr that says something else.
                        return;
                    }
                    signals->handler(kind, told);
                });
                return 0;
            },
            this));
    slots.emplace_back(slot);
}

NoteSignals::NoteSignals(sd_bus* bus, services::EventLoop& loop,
                         Handler handler) :
    loop(loop),
    handler(std::move(handler))
{
    match<Change::Kind::silenced>(bus, host::silencesInterface,
                                  host::silencedSignal);
    match<Change::Kind::silenceEnded>(bus, host::silencesInterface,
                                      host::silenceEndedSignal);
    match<Change::Kind::acknowledged>(bus, host::acknowledgementsInterface,
                                      host::acknowledgedSignal);
    match<Change::Kind::withdrawn>(bus, host::acknowledgementsInterface,
                                   host::withdrawnSignal);
}

} // namespace healthintf::healthctl
