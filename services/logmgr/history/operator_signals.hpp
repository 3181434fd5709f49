// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Listens to what operators do about faults: silences and
 *  acknowledgements. */

#include "healthmgr/members.hpp"
#include "record.hpp"

#include <systemd/sd-bus.h>

#include <functional>

namespace healthintf::history
{

/** Subscribes to healthmgr's signals, asks it for what is there already, and
 *  makes records of both. */
class OperatorSignals
{
  public:
    /** Called for each record; they must not throw. The fault of an
     *  acknowledgement has only its entry and the user. */
    struct Handlers
    {
        /** It happened now. */
        std::function<void(Record record)> happened;
        /** It may have happened before somebody listened. */
        std::function<void(Record record)> found;
    };

    explicit OperatorSignals(Handlers handlers);
    OperatorSignals(const OperatorSignals&) = delete;
    OperatorSignals& operator=(const OperatorSignals&) = delete;

    /** Listens on a new connection instead of the last one, which must end
     *  before this object. Asks for what is there already, and again whenever
     *  healthmgr begins. */
    void listen(sd_bus* bus);

    /** Asks for what is there already.
     *
     *  @throws std::exception when that cannot be sent */
    void ask(sd_bus* bus);

  private:
    using MakeRecord = Record (*)(const host::Members&);

    template <MakeRecord Make>
    static int takeSignal(sd_bus_message* message, void* context,
                          sd_bus_error* error) noexcept;
    template <MakeRecord Make>
    static int takeList(sd_bus_message* reply, void* context,
                        sd_bus_error* error) noexcept;
    static int takeOwner(sd_bus_message* message, void* context,
                         sd_bus_error* error) noexcept;
    void listen(sd_bus* bus, const char* interface, const char* signal,
                sd_bus_message_handler_t take);
    void ask(sd_bus* bus, const char* interface, const char* method,
             sd_bus_message_handler_t take);

    Handlers handlers;
};

} // namespace healthintf::history
