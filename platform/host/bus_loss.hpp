#pragma once

/** @file Tells, once, that the connection to the bus is lost. */

#include "bus_calls.hpp"

#include <platform/api.h>

#include <functional>

namespace healthintf::host
{

/** Watches a connection. When the bus goes away, one line is logged for all
 *  that a thread watches at that time: whoever runs the daemon reads there that
 *  nobody hears of its components any more. Belongs to the connection's
 *  thread. */
class BusLossWatch
{
  public:
    /** @param[in] bus an open connection, which must be processed for this to
     *             hear of its end; takes none of its match rules
     *  @param[in] react what else is done then
     *  @throws std::system_error when the connection cannot be watched */
    PLATFORM_API explicit BusLossWatch(sd_bus* bus,
                                       std::function<void()> react = {});
    PLATFORM_API ~BusLossWatch();
    BusLossWatch(const BusLossWatch&) = delete;
    BusLossWatch& operator=(const BusLossWatch&) = delete;

  private:
    static int take(sd_bus_message* message, void* context,
                    sd_bus_error* error) noexcept;

    std::function<void()> react;
    SlotPtr match;
};

} // namespace healthintf::host
