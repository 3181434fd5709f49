// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Finds out whether the bus lets a signal through. */

#include <platform/bus_handles.hpp>

#include <systemd/sd-bus.h>

#include <memory>
#include <string>

namespace healthintf::healthctl
{

/** Listens to the operator's bus for a signal of this process. When the bus's
 *  policy stops a signal its sender is not told; but whoever may send it also
 *  hears it. */
class Echo
{
  public:
    /** @param[in] signal a match rule for the signal, without its sender
     *  @throws Error when there is no bus */
    explicit Echo(const std::string& signal);
    Echo(const Echo&) = delete;
    Echo& operator=(const Echo&) = delete;

    /** Waits until the bus has passed on what was sent since this was made.
     *
     *  @throws Error when the signal was not among it, or the bus does not
     *          answer */
    void expect();

  private:
    static int take(sd_bus_message* message, void* context,
                    sd_bus_error* error);

    BusPtr bus;
    SlotPtr match;
    bool heard = false;
};

} // namespace healthintf::healthctl
