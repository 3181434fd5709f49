// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Keeps the faults hidden that silences cover. */

#include "../common/connection.hpp"
#include "../common/event_loop.hpp"
#include "../common/subscription.hpp"
#include "silences.hpp"

#include <sdbusplus/message.hpp>

#include <chrono>
#include <cstdint>
#include <optional>
#include <set>

namespace healthintf::healthmgr
{

/** Sends the hide signal: when a silence begins, when a fault is added that it
 *  covers, when somebody else shows its faults, and when one of them is found
 *  visible. What comes within the pause after a signal shares the next one, so
 *  that a storm of faults makes no storm of these. */
class SilencedFaults
{
  public:
    /** How long after a hide signal the next one may follow. */
    static constexpr std::chrono::milliseconds pause{50};

    /** Hides the faults of all silences. All arguments must outlive this
     *  object. */
    SilencedFaults(services::Connection& connection, services::EventLoop& loop,
                   const Silences& silences);
    SilencedFaults(const SilencedFaults&) = delete;
    SilencedFaults& operator=(const SilencedFaults&) = delete;

    /** Hides the faults of a silence that begins. */
    void hide(uint64_t id);

    /** Shows the faults of a silence that is over, unless another one has the
     *  same target. */
    void show(const SilenceTarget& target);

    /** Looks for faults in the data cache that are visible and should not
     *  be. */
    void check();

  private:
    void listen();
    void takeAddition(sdbusplus::message_t& message);
    void takeHideSignal(sdbusplus::message_t& message);
    void hideCovered(const SilenceTarget& fault);
    void hideSoon(uint64_t id);
    void hideWaiting();

    services::Connection& connection;
    const Silences& silences;
    /** The silences whose faults are to be hidden with the next signals. */
    std::set<uint64_t> waiting;
    std::chrono::steady_clock::time_point pauseEnd;
    services::EventSource sending;
    /** While there are silences. */
    std::optional<services::Subscription> additions;
    std::optional<services::Subscription> hideSignals;
};

} // namespace healthintf::healthmgr
