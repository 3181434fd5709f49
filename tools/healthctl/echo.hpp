#pragma once

/** @file Whether the bus lets signals through. */

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
    struct Unref
    {
        void operator()(sd_bus* bus) const
        {
            sd_bus_unref(bus);
        }
        void operator()(sd_bus_slot* slot) const
        {
            sd_bus_slot_unref(slot);
        }
    };

    static int take(sd_bus_message* message, void* context,
                    sd_bus_error* error);

    std::unique_ptr<sd_bus, Unref> bus;
    std::unique_ptr<sd_bus_slot, Unref> match;
    bool heard = false;
};

} // namespace healthintf::healthctl
