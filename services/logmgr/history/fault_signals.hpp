// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Listens to the signals of what the history records. */

#include "fault_follower.hpp"
#include "record.hpp"

#include <systemd/sd-bus.h>

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>

namespace healthintf::history
{

/** Subscribes to the signals and passes on what they say. */
class FaultSignals
{
  public:
    /** Called for each signal; they must not throw. */
    struct Handlers
    {
        std::function<void(const Sender& sender, Fault fault)> added;
        std::function<void(const Sender& sender, const std::string& entry)>
            removed;
        /** Something else than a fault's beginning or end. */
        std::function<void(Record record)> happened;
    };

    explicit FaultSignals(Handlers handlers);
    FaultSignals(const FaultSignals&) = delete;
    FaultSignals& operator=(const FaultSignals&) = delete;

    /** Listens on a new connection instead of the last one. The connection must
     *  end before this object. */
    void listen(sd_bus* bus);

  private:
    template <auto Member>
    static int take(sd_bus_message* message, void* context,
                    sd_bus_error* error) noexcept;

    void takeAdded(sd_bus_message* message);
    void takeRemoved(sd_bus_message* message);
    void takeLogCleared(sd_bus_message* message) const;
    void takeNotification(sd_bus_message* message) const;
    std::optional<Sender> findSender(sd_bus_message* message);

    Handlers handlers;
    /** Those that the bus was asked for already, also those that were gone; the
     *  bus gives no unique name twice. */
    std::map<std::string, std::optional<Sender>> senders;
};

} // namespace healthintf::history
