// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Logs once that the connection to the bus is lost. */

#include "bus_calls.hpp"

#include <platform/api.h>

#include <functional>

namespace healthintf::host
{

/** Watches a connection. When the bus closes it, one line is logged, even if
 *  the thread watches several connections. The operator learns from it that
 *  nobody hears of the daemon's components any more. To be used on the
 *  connection's thread only. */
class BusLossWatch
{
  public:
    /** @param[in] bus an open connection, which the caller processes; the watch
     *  uses none of the connection's match rules
     *  @param[in] react also called when the connection is lost
     *  @throws std::system_error when the connection cannot be watched */
    PLATFORM_API explicit BusLossWatch(sd_bus* bus,
                                       std::function<void()> react = {});
    PLATFORM_API ~BusLossWatch();
    BusLossWatch(const BusLossWatch&) = delete;
    BusLossWatch& operator=(const BusLossWatch&) = delete;

  private:
    static int handleLoss(sd_bus_message* message, void* context,
                          sd_bus_error* error) noexcept;

    std::function<void()> react;
    SlotPtr match;
};

} // namespace healthintf::host
